#pragma once

#include <cstdint>

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

// A span of time in whole seconds, positive or negative. One longer than the calendar of COleDateTime is
// invalid, and so is the result of any operation with an invalid span.
class TESSALY_API COleDateTimeSpan {
  public:
    enum DateTimeSpanStatus { valid = 0, invalid = 1, null = 2 };
    COleDateTimeSpan() = default;
    COleDateTimeSpan(long days, int hours, int minutes, int seconds);
    static COleDateTimeSpan FromSeconds(std::int64_t seconds);
    DateTimeSpanStatus GetStatus() const noexcept { return status_; }
    void SetStatus(DateTimeSpanStatus status) noexcept { status_ = status; }
    // The parts: days, then hours, minutes and seconds of what is left, all with the sign of the span.
    long GetDays() const noexcept;
    int GetHours() const noexcept;
    int GetMinutes() const noexcept;
    int GetSeconds() const noexcept;
    // The whole span in one unit; the fraction is kept.
    double GetTotalDays() const noexcept;
    double GetTotalHours() const noexcept;
    double GetTotalMinutes() const noexcept;
    double GetTotalSeconds() const noexcept;
    std::int64_t WholeSeconds() const noexcept { return seconds_; }
    COleDateTimeSpan operator+(COleDateTimeSpan const& other) const;
    COleDateTimeSpan operator-(COleDateTimeSpan const& other) const;
    COleDateTimeSpan operator-() const;
    friend bool operator==(COleDateTimeSpan const&, COleDateTimeSpan const&) = default;
    bool operator<(COleDateTimeSpan const& other) const noexcept { return seconds_ < other.seconds_; }
    bool operator>(COleDateTimeSpan const& other) const noexcept { return seconds_ > other.seconds_; }
    bool operator<=(COleDateTimeSpan const& other) const noexcept { return seconds_ <= other.seconds_; }
    bool operator>=(COleDateTimeSpan const& other) const noexcept { return seconds_ >= other.seconds_; }

  private:
    std::int64_t seconds_ = 0;
    DateTimeSpanStatus status_ = valid;
};

// A date and time of the Gregorian calendar in whole seconds, years 100 to 9999, with a status. A new object
// holds the zero date, 1899-12-30 00:00:00, which is valid. A result outside of the calendar or its range is
// invalid. The parts of an invalid date are -1.
class TESSALY_API COleDateTime {
  public:
    enum DateTimeStatus { valid = 0, invalid = 1, null = 2 };
    COleDateTime() = default;
    COleDateTime(int year, int month, int day, int hour, int minute, int second);
    // The present local time, by the process's time zone (platform/clock.h).
    static COleDateTime GetCurrentTime();
    // From seconds since 1970-01-01 00:00:00, without regard to the time zone.
    static COleDateTime FromUnixSeconds(std::int64_t seconds);

    DateTimeStatus GetStatus() const noexcept { return status_; }
    void SetStatus(DateTimeStatus status) noexcept { status_ = status; }
    int GetYear() const noexcept;
    int GetMonth() const noexcept;
    int GetDay() const noexcept;
    int GetHour() const noexcept;
    int GetMinute() const noexcept;
    int GetSecond() const noexcept;
    // 1 Sunday to 7 Saturday.
    int GetDayOfWeek() const noexcept;
    // 1 to 366.
    int GetDayOfYear() const noexcept;

    // Results: 0, or 1 with the status invalid.
    int SetDateTime(int year, int month, int day, int hour, int minute, int second);
    int SetDate(int year, int month, int day);
    // The zero date at that time.
    int SetTime(int hour, int minute, int second);
    // Reads "Y/M/D", "Y-M-D", with or without " H:M" or " H:M:S", or a time alone (of the zero date). Blanks
    // around it are ignored. false with the status invalid for anything else.
    bool ParseDateTime(char const* text);
    // As strftime, for %Y %m %d %H %M %S %y %j %a %A %b %B %w %p %I and %%; empty when not valid. %Y always
    // has four digits, names are English, and any other "%" is copied.
    CString Format(char const* format) const;

    COleDateTime operator+(COleDateTimeSpan const& span) const;
    COleDateTime operator-(COleDateTimeSpan const& span) const;
    COleDateTime& operator+=(COleDateTimeSpan const& span) { return *this = *this + span; }
    COleDateTime& operator-=(COleDateTimeSpan const& span) { return *this = *this - span; }
    COleDateTimeSpan operator-(COleDateTime const& other) const;

    friend bool operator==(COleDateTime const&, COleDateTime const&) = default;
    bool operator<(COleDateTime const& other) const noexcept { return seconds_ < other.seconds_; }
    bool operator>(COleDateTime const& other) const noexcept { return seconds_ > other.seconds_; }
    bool operator<=(COleDateTime const& other) const noexcept { return seconds_ <= other.seconds_; }
    bool operator>=(COleDateTime const& other) const noexcept { return seconds_ >= other.seconds_; }

  private:
    std::int64_t seconds_ = 0;  // since 1899-12-30 00:00:00
    DateTimeStatus status_ = valid;
};
