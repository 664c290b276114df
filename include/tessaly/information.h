#pragma once

// The information page on the web, and the proxy through which it is asked for.

#include "information/information_manager.h"
#include "information/my_https.h"
