#include "engine/base/date_text.h"

namespace engine {

CString DateText(COleDateTime const& date) { return date.Format("%Y/%m/%d %H:%M:%S"); }

CString NowText() {
    char now[text::date_data_size];
    GetNowDateTime(now);
    return now;
}

}  // namespace engine
