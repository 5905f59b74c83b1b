#include "services/Text.h"
