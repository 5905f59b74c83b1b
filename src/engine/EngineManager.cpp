#include "engine/EngineManager.h"
