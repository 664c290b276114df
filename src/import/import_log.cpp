#include "import/import_log.h"

#include "platform/clock.h"

namespace customers {

bool ImportLog::Open(CString const& path) {
    has_refused_ = false;
    return file_.Open(path, CFile::modeCreate | CFile::modeWrite);
}

void ImportLog::Close() {
    if (file_.IsOpen()) file_.Close();
}

void ImportLog::Write(CString const& text) {
    if (file_.IsOpen()) file_.Write(static_cast<char const*>(text), static_cast<unsigned>(text.GetLength()));
}

void ImportLog::WriteMoment(char const* title) {
    platform::CalendarTime const now = platform::LocalTime(platform::Now().seconds);
    CString text;
    text.Format("○%s\n%04d/%02d/%02d %02d:%02d:%02d\n\n", title, now.year, now.month, now.day, now.hour,
                now.minute, now.second);
    Write(text);
}

void ImportLog::WriteRefused(CString const& line) {
    if (!has_refused_) Write("○データエラーお客様\n");
    has_refused_ = true;
    Write(line);
}

}  // namespace customers
