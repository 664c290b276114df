#pragma once

// The open data set: its files, keys and start-up password, and its settings.

#include "environment/compound_key_manager.h"
#include "environment/env_manager.h"
#include "environment/system_option.h"
