#include "engine/EngineSpec.h"
