#pragma once

// Japanese text and values: kanji codes, kana and width, checks of values, dates, strings, directories.

#include "text/check_directory.h"
#include "text/date_data.h"
#include "text/dates.h"
#include "text/directories.h"
#include "text/dividers.h"
#include "text/kana_convert_tbl.h"
#include "text/kanji_codes.h"
#include "text/kcodec.h"
#include "text/mail_text_check.h"
#include "text/sjis_kana_converter.h"
#include "text/strings.h"
#include "text/value_checks.h"
#include "text/width.h"
