#pragma once

// Errors and tables, copies, transfer log and profile files; and the parts of the platform that an
// application needs to use the library: paths, code page, messages, the place of its logs, replacing a file,
// and ending waits.

#include "tessaly/platform/codepage932.h"
#include "tessaly/platform/dialog.h"
#include "tessaly/platform/interruption.h"
#include "tessaly/platform/mbcs.h"
#include "tessaly/platform/md5.h"
#include "tessaly/platform/path.h"
#include "tessaly/platform/process.h"
#include "tessaly/platform/replacement.h"
#include "tessaly/platform/utf8.h"
#include "tessaly/storage/base64_text.h"
#include "tessaly/storage/base_record_structer.h"
#include "tessaly/storage/csv_read.h"
#include "tessaly/storage/csv_write.h"
#include "tessaly/storage/err_msg.h"
#include "tessaly/storage/error_codes.h"
#include "tessaly/storage/file_history.h"
#include "tessaly/storage/file_version.h"
#include "tessaly/storage/ini_manager.h"
#include "tessaly/storage/log_writer.h"
#include "tessaly/storage/my_db.h"
#include "tessaly/storage/new_table_file.h"
#include "tessaly/storage/split_string.h"
#include "tessaly/storage/string_array_ex.h"
#include "tessaly/storage/substitution.h"
#include "tessaly/storage/xcsv_read.h"
#include "tessaly/storage/xcsv_write.h"
