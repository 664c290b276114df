#pragma once

// Japanese text and values: kanji codes, kana and width, checks of values, dates, strings, directories.

#include "tessaly/text/check_directory.h"
#include "tessaly/text/date_data.h"
#include "tessaly/text/dates.h"
#include "tessaly/text/directories.h"
#include "tessaly/text/dividers.h"
#include "tessaly/text/kana_convert_tbl.h"
#include "tessaly/text/kanji_codes.h"
#include "tessaly/text/kcodec.h"
#include "tessaly/text/mail_text_check.h"
#include "tessaly/text/sjis_kana_converter.h"
#include "tessaly/text/strings.h"
#include "tessaly/text/value_checks.h"
#include "tessaly/text/width.h"
