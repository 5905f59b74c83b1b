#include "services/Files.h"
