#include "engine/GameRunner.h"
