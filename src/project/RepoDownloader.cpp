#include "project/RepoDownloader.h"
