#include "services/Tools.h"
