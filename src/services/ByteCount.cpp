#include "services/ByteCount.h"
