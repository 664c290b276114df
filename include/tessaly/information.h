#pragma once

// The information page on the web, and the proxy through which it is asked for.

#include "tessaly/information/information_manager.h"
#include "tessaly/information/my_https.h"
