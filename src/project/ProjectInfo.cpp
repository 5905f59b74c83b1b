#include "project/ProjectInfo.h"
