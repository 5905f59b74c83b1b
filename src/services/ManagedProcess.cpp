#include "services/ManagedProcess.h"
