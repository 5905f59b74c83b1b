#include "core/AppModel.h"
