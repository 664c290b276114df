#pragma once

// All public headers of the library.

#include "tessaly/customers.h"
#include "tessaly/delivery.h"
#include "tessaly/environment.h"
#include "tessaly/information.h"
#include "tessaly/mailstore.h"
#include "tessaly/mime.h"
#include "tessaly/storage.h"
#include "tessaly/text.h"
