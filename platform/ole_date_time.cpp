#include "tessaly/platform/ole_date_time.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include "platform/clock.h"
#include "platform/view_of.h"

namespace {

using std::chrono::sys_days;

constexpr std::int64_t minute_seconds = 60;
constexpr std::int64_t hour_seconds = 3600;
constexpr std::int64_t day_seconds = 86400;
constexpr int first_year = 100;
constexpr int last_year = 9999;

constexpr sys_days zero_day = std::chrono::year{1899} / 12 / 30;

constexpr std::int64_t StartOf(sys_days day) noexcept { return (day - zero_day).count() * day_seconds; }

constexpr std::int64_t first_second = StartOf(std::chrono::year{first_year} / 1 / 1);
constexpr std::int64_t last_second = StartOf(std::chrono::year{last_year} / 12 / 31) + day_seconds - 1;
constexpr std::int64_t longest_span = last_second - first_second;

// The time of a calendar date and a time of day, if they exist.
std::optional<std::int64_t> SecondsOf(int year, int month, int day, int hour, int minute,
                                      int second) noexcept {
    auto const in = [](int value, int first, int last) { return value >= first && value <= last; };
    if (!in(year, first_year, last_year) || !in(month, 1, 12) || !in(day, 1, 31)) return std::nullopt;
    if (!in(hour, 0, 23) || !in(minute, 0, 59) || !in(second, 0, 59)) return std::nullopt;
    std::chrono::year_month_day const date{std::chrono::year{year},
                                           std::chrono::month(static_cast<unsigned>(month)),
                                           std::chrono::day(static_cast<unsigned>(day))};
    if (!date.ok()) return std::nullopt;
    return StartOf(date) + hour * hour_seconds + minute * minute_seconds + second;
}

sys_days DayOf(std::int64_t seconds) noexcept {
    return zero_day + std::chrono::floor<std::chrono::days>(std::chrono::seconds{seconds});
}

std::chrono::year_month_day DateOf(std::int64_t seconds) noexcept { return DayOf(seconds); }

int SecondOfDay(std::int64_t seconds) noexcept {
    return static_cast<int>((seconds % day_seconds + day_seconds) % day_seconds);
}

// The status of what is made from two values: the worse of both, where null counts as worst.
template <class Status>
Status Joined(Status a, Status b) noexcept {
    return std::max(a, b);
}

// Reads a text piece by piece; a piece that is missing leaves the position and the value unchanged.
class Reader {
  public:
    explicit Reader(std::string_view text) noexcept : rest_(text) {}
    bool Ended() const noexcept { return rest_.empty(); }
    bool TakeBlanks() noexcept {
        std::size_t const size = std::min(rest_.find_first_not_of(" \t"), rest_.size());
        rest_.remove_prefix(size);
        return size > 0;
    }
    bool Take(char c) noexcept {
        if (rest_.empty() || rest_[0] != c) return false;
        rest_.remove_prefix(1);
        return true;
    }
    bool TakeNumber(std::size_t digits, int& value) noexcept {
        std::size_t const size = std::min(rest_.find_first_not_of("0123456789"), rest_.size());
        if (size == 0 || size > digits) return false;
        value = 0;
        for (char const digit : rest_.substr(0, size)) value = value * 10 + (digit - '0');
        rest_.remove_prefix(size);
        return true;
    }

  private:
    std::string_view rest_;
};

struct Parts {
    int year = 1899, month = 12, day = 30, hour = 0, minute = 0, second = 0;
};

bool ReadDate(Reader& reader, Parts& parts) noexcept {
    if (!reader.TakeNumber(4, parts.year)) return false;
    char const divider = reader.Take('/') ? '/' : '-';
    if (divider == '-' && !reader.Take('-')) return false;
    return reader.TakeNumber(2, parts.month) && reader.Take(divider) && reader.TakeNumber(2, parts.day);
}

bool ReadTime(Reader& reader, Parts& parts) noexcept {
    if (!reader.TakeNumber(2, parts.hour) || !reader.Take(':') || !reader.TakeNumber(2, parts.minute))
        return false;
    return !reader.Take(':') || reader.TakeNumber(2, parts.second);
}

std::optional<Parts> ReadDateTime(std::string_view text) noexcept {
    Reader reader(text);
    reader.TakeBlanks();
    Parts parts;
    Reader time_reader = reader;
    if (ReadTime(time_reader, parts)) {
        reader = time_reader;
    } else {
        parts = {};
        if (!ReadDate(reader, parts)) return std::nullopt;
        if (reader.TakeBlanks() && !reader.Ended() && !ReadTime(reader, parts)) return std::nullopt;
    }
    reader.TakeBlanks();
    return reader.Ended() ? std::optional(parts) : std::nullopt;
}

constexpr char const* day_names[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                     "Thursday", "Friday", "Saturday"};
constexpr char const* month_names[] = {"January", "February", "March",     "April",   "May",      "June",
                                       "July",    "August",   "September", "October", "November", "December"};

void AppendNumber(std::string& text, int digits, int value) {
    char number[16];
    text.append(number,
                static_cast<std::size_t>(std::snprintf(number, sizeof number, "%0*d", digits, value)));
}

// Appends the field of the format letter `letter`; false for an unknown letter.
bool AppendField(std::string& text, char letter, COleDateTime const& time) {
    switch (letter) {
        case 'Y': AppendNumber(text, 4, time.GetYear()); return true;
        case 'y': AppendNumber(text, 2, time.GetYear() % 100); return true;
        case 'm': AppendNumber(text, 2, time.GetMonth()); return true;
        case 'd': AppendNumber(text, 2, time.GetDay()); return true;
        case 'j': AppendNumber(text, 3, time.GetDayOfYear()); return true;
        case 'H': AppendNumber(text, 2, time.GetHour()); return true;
        case 'I': AppendNumber(text, 2, (time.GetHour() + 11) % 12 + 1); return true;
        case 'M': AppendNumber(text, 2, time.GetMinute()); return true;
        case 'S': AppendNumber(text, 2, time.GetSecond()); return true;
        case 'w': AppendNumber(text, 1, time.GetDayOfWeek() - 1); return true;
        case 'p': text += time.GetHour() < 12 ? "AM" : "PM"; return true;
        case 'A': text += day_names[time.GetDayOfWeek() - 1]; return true;
        case 'a': text.append(day_names[time.GetDayOfWeek() - 1], 3); return true;
        case 'B': text += month_names[time.GetMonth() - 1]; return true;
        case 'b': text.append(month_names[time.GetMonth() - 1], 3); return true;
        case '%': text += '%'; return true;
        default: return false;
    }
}

}  // namespace

COleDateTimeSpan::COleDateTimeSpan(long days, int hours, int minutes, int seconds) {
    constexpr long too_many_days = 1L << 40;  // more than any number of hours can balance
    long const cut_days = std::clamp(days, -too_many_days, too_many_days);
    *this = FromSeconds(cut_days * day_seconds + hours * hour_seconds + minutes * minute_seconds + seconds);
}

COleDateTimeSpan COleDateTimeSpan::FromSeconds(std::int64_t seconds) {
    COleDateTimeSpan span;
    if (seconds < -longest_span || seconds > longest_span)
        span.status_ = invalid;
    else
        span.seconds_ = seconds;
    return span;
}

long COleDateTimeSpan::GetDays() const noexcept { return seconds_ / day_seconds; }
int COleDateTimeSpan::GetHours() const noexcept {
    return static_cast<int>(seconds_ % day_seconds / hour_seconds);
}
int COleDateTimeSpan::GetMinutes() const noexcept {
    return static_cast<int>(seconds_ % hour_seconds / minute_seconds);
}
int COleDateTimeSpan::GetSeconds() const noexcept { return static_cast<int>(seconds_ % minute_seconds); }

double COleDateTimeSpan::GetTotalDays() const noexcept { return GetTotalSeconds() / day_seconds; }
double COleDateTimeSpan::GetTotalHours() const noexcept { return GetTotalSeconds() / hour_seconds; }
double COleDateTimeSpan::GetTotalMinutes() const noexcept { return GetTotalSeconds() / minute_seconds; }
double COleDateTimeSpan::GetTotalSeconds() const noexcept { return static_cast<double>(seconds_); }

COleDateTimeSpan COleDateTimeSpan::operator+(COleDateTimeSpan const& other) const {
    COleDateTimeSpan sum = FromSeconds(seconds_ + other.seconds_);
    sum.status_ = Joined(sum.status_, Joined(status_, other.status_));
    return sum;
}

COleDateTimeSpan COleDateTimeSpan::operator-(COleDateTimeSpan const& other) const { return *this + -other; }

COleDateTimeSpan COleDateTimeSpan::operator-() const {
    COleDateTimeSpan negative = *this;
    negative.seconds_ = -seconds_;
    return negative;
}

COleDateTime::COleDateTime(int year, int month, int day, int hour, int minute, int second) {
    SetDateTime(year, month, day, hour, minute, second);
}

COleDateTime COleDateTime::GetCurrentTime() {
    platform::CalendarTime const now = platform::LocalTimeNow();
    return {now.year, now.month, now.day, now.hour, now.minute, now.second};
}

COleDateTime COleDateTime::FromUnixSeconds(std::int64_t seconds) {
    constexpr std::int64_t epoch = StartOf(sys_days{});
    COleDateTime time;
    if (seconds < first_second - epoch || seconds > last_second - epoch)
        time.status_ = invalid;
    else
        time.seconds_ = seconds + epoch;
    return time;
}

int COleDateTime::GetYear() const noexcept { return status_ == valid ? int{DateOf(seconds_).year()} : -1; }
int COleDateTime::GetMonth() const noexcept {
    return status_ == valid ? static_cast<int>(unsigned{DateOf(seconds_).month()}) : -1;
}
int COleDateTime::GetDay() const noexcept {
    return status_ == valid ? static_cast<int>(unsigned{DateOf(seconds_).day()}) : -1;
}
int COleDateTime::GetHour() const noexcept { return status_ == valid ? SecondOfDay(seconds_) / 3600 : -1; }
int COleDateTime::GetMinute() const noexcept {
    return status_ == valid ? SecondOfDay(seconds_) / 60 % 60 : -1;
}
int COleDateTime::GetSecond() const noexcept { return status_ == valid ? SecondOfDay(seconds_) % 60 : -1; }

int COleDateTime::GetDayOfWeek() const noexcept {
    if (status_ != valid) return -1;
    return static_cast<int>(std::chrono::weekday{DayOf(seconds_)}.c_encoding()) + 1;
}

int COleDateTime::GetDayOfYear() const noexcept {
    if (status_ != valid) return -1;
    sys_days const new_year = DateOf(seconds_).year() / 1 / 1;
    return static_cast<int>((DayOf(seconds_) - new_year).count()) + 1;
}

int COleDateTime::SetDateTime(int year, int month, int day, int hour, int minute, int second) {
    std::optional<std::int64_t> const seconds = SecondsOf(year, month, day, hour, minute, second);
    seconds_ = seconds.value_or(0);
    status_ = seconds ? valid : invalid;
    return status_;
}

int COleDateTime::SetDate(int year, int month, int day) { return SetDateTime(year, month, day, 0, 0, 0); }

int COleDateTime::SetTime(int hour, int minute, int second) {
    Parts const zero;
    return SetDateTime(zero.year, zero.month, zero.day, hour, minute, second);
}

bool COleDateTime::ParseDateTime(char const* text) {
    std::optional<Parts> const parts = ReadDateTime(platform::ViewOf(text));
    if (parts)
        SetDateTime(parts->year, parts->month, parts->day, parts->hour, parts->minute, parts->second);
    else
        *this = COleDateTime(0, 0, 0, 0, 0, 0);
    return status_ == valid;
}

CString COleDateTime::Format(char const* format) const {
    if (status_ != valid || !format) return {};
    std::string text;
    for (; *format; ++format) {
        if (*format == '%' && AppendField(text, format[1], *this))
            ++format;
        else
            text += *format;
    }
    return CString(text);
}

COleDateTime COleDateTime::operator+(COleDateTimeSpan const& span) const {
    COleDateTime sum;
    std::int64_t const seconds = seconds_ + span.WholeSeconds();
    auto const span_status = static_cast<DateTimeStatus>(span.GetStatus());
    sum.status_ = Joined(status_, span_status);
    if (sum.status_ == valid && (seconds < first_second || seconds > last_second)) sum.status_ = invalid;
    if (sum.status_ == valid) sum.seconds_ = seconds;
    return sum;
}

COleDateTime COleDateTime::operator-(COleDateTimeSpan const& span) const { return *this + -span; }

COleDateTimeSpan COleDateTime::operator-(COleDateTime const& other) const {
    COleDateTimeSpan span = COleDateTimeSpan::FromSeconds(seconds_ - other.seconds_);
    span.SetStatus(static_cast<COleDateTimeSpan::DateTimeSpanStatus>(Joined(status_, other.status_)));
    return span;
}
