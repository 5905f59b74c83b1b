#include "services/StagingFolder.h"
