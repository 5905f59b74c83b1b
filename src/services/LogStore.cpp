#include "services/LogStore.h"
