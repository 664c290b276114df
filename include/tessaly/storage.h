#pragma once

// Errors and tables, copies, transfer log and profile files; and what an application needs of the platform
// to talk to the library at all: its paths, its code page, its messages, the place of its logs, its way to
// replace a file.

#include "platform/codepage932.h"
#include "platform/dialog.h"
#include "platform/mbcs.h"
#include "platform/md5.h"
#include "platform/path.h"
#include "platform/process.h"
#include "platform/replacement.h"
#include "platform/utf8.h"
#include "storage/base64_text.h"
#include "storage/base_record_structer.h"
#include "storage/csv_read.h"
#include "storage/csv_write.h"
#include "storage/err_msg.h"
#include "storage/error_codes.h"
#include "storage/file_history.h"
#include "storage/file_version.h"
#include "storage/ini_manager.h"
#include "storage/log_writer.h"
#include "storage/my_db.h"
#include "storage/split_string.h"
#include "storage/string_array_ex.h"
#include "storage/substitution.h"
#include "storage/xcsv_read.h"
#include "storage/xcsv_write.h"
