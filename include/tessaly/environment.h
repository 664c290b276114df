#pragma once

// The open data set: its files, keys and start-up password, its settings and sequences, backup and restore of
// its customers.

#include "tessaly/backup/db_backup.h"
#include "tessaly/backup/db_restore.h"
#include "tessaly/environment/compound_key_manager.h"
#include "tessaly/environment/env_manager.h"
#include "tessaly/environment/sequencer.h"
#include "tessaly/environment/system_option.h"
