#include "services/Paths.h"
