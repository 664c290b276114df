#pragma once

// The open data set: its files, keys and start-up password, its settings, backup and restore of its customers.

#include "environment/backup/db_backup.h"
#include "environment/backup/db_restore.h"
#include "environment/compound_key_manager.h"
#include "environment/env_manager.h"
#include "environment/system_option.h"
