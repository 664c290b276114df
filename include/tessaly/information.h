#pragma once

// The information page on the web, and the proxy for its request.

#include "tessaly/information/information_manager.h"
#include "tessaly/information/my_https.h"
