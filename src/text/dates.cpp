#include "tessaly/text/dates.h"

#include <cstdio>
#include <cstring>

#include "platform/clock.h"
#include "platform/file.h"

namespace {

// The parts of a date in the order of its text, read by the scanf format "%4d/%2d/%2d %2d:%2d:%2d".
class DateTextReader {
  public:
    explicit DateTextReader(char const* text) noexcept : at_(text) {}

    // An integer of at most `width` characters, its sign included, behind any white space.
    bool Number(int width, int& number) noexcept {
        SkipSpace();
        bool const negative = *at_ == '-';
        if (negative || *at_ == '+') {
            ++at_;
            --width;
        }
        if (width == 0 || !IsDigit()) return false;
        for (number = 0; width > 0 && IsDigit(); --width) number = number * 10 + (*at_++ - '0');
        if (negative) number = -number;
        return true;
    }
    bool Divider(char c) noexcept {
        if (c == ' ') {
            SkipSpace();
            return true;
        }
        if (*at_ != c) return false;
        ++at_;
        return true;
    }

  private:
    bool IsDigit() const noexcept { return *at_ >= '0' && *at_ <= '9'; }
    void SkipSpace() noexcept {
        while (*at_ == ' ' || (*at_ >= '\t' && *at_ <= '\r')) ++at_;
    }

    char const* at_;
};

void Write(char* out, int year, int month, int day, int hour, int minute, int second) {
    std::memset(out, 0, text::date_data_size);
    std::snprintf(out, text::date_data_size, "%04d/%02d/%02d %02d:%02d:%02d", year, month, day, hour, minute,
                  second);
}

void WriteLocalTime(char* out, std::int64_t seconds) {
    platform::CalendarTime const time = platform::LocalTime(seconds);
    Write(out, time.year, time.month, time.day, time.hour, time.minute, time.second);
}

int FileTimeText(char const* path, bool creation, char* out) {
    std::memset(out, 0, text::date_data_size);
    std::int64_t created = 0;
    std::int64_t modified = 0;
    if (!path || !platform::FileTimes(path, &created, &modified)) return 0;
    WriteLocalTime(out, creation ? created : modified);
    return 1;
}

}  // namespace

void GetNowDateTime(char* out) { WriteLocalTime(out, platform::Now().seconds); }

COleDateTime Convert_DateData2COleDateTime(char const* text) {
    struct Part {
        int width;
        char divider;  // behind it
    };
    static constexpr Part parts[] = {{4, '/'}, {2, '/'}, {2, ' '}, {2, ':'}, {2, ':'}, {2, 0}};
    DateTextReader reader(text ? text : "");
    int numbers[6];
    for (int i = 0; i < 6; ++i) {
        if (!reader.Number(parts[i].width, numbers[i])) return COleDateTime();
        if (parts[i].divider && !reader.Divider(parts[i].divider)) return COleDateTime();
    }
    return COleDateTime(numbers[0], numbers[1], numbers[2], numbers[3], numbers[4], numbers[5]);
}

void Convert_COleDateTime2DateData(COleDateTime value, char* out) {
    Write(out, value.GetYear(), value.GetMonth(), value.GetDay(), value.GetHour(), value.GetMinute(),
          value.GetSecond());
}

COleDateTime& AdjustTime(COleDateTime& value) {
    constexpr int step = 10;  // minutes
    if (value.GetStatus() != COleDateTime::valid) return value;
    int const minute = value.GetMinute();
    int const over = minute % step;
    value.SetDateTime(value.GetYear(), value.GetMonth(), value.GetDay(), value.GetHour(), minute - over, 0);
    if (over) value += COleDateTimeSpan(0, 0, step, 0);
    return value;
}

int GetFileStat_CreateDate(char const* path, char* out) { return FileTimeText(path, true, out); }

int GetFileStat_LastRenewalDate(char const* path, char* out) { return FileTimeText(path, false, out); }
