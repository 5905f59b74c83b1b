#include "http/HttpServer.h"
