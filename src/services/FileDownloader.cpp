#include "services/FileDownloader.h"
