#pragma once

#include "tessaly/text.h"

// "2026/11/23 10:00:00", local time, as the library's tables hold a date and time.
namespace engine {

// Empty for an invalid one.
CString DateText(COleDateTime const& date);
// The present.
CString NowText();

}  // namespace engine
