#include "services/Transfer.h"
