#include "project/ProjectInspector.h"
