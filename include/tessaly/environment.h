#pragma once

// The open data set: its files, keys and start-up password, its settings and sequences, backup and restore of
// its customers.

#include "backup/db_backup.h"
#include "backup/db_restore.h"
#include "environment/compound_key_manager.h"
#include "environment/env_manager.h"
#include "environment/sequencer.h"
#include "environment/system_option.h"
