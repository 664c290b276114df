#include "tessaly/platform/ole_date_time.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "platform/clock.h"
#include "tests/platform/time_zone.h"

namespace {

std::string Text(COleDateTime const& time) {
    return time.GetStatus() == COleDateTime::valid ? time.Format("%Y/%m/%d %H:%M:%S").View().data()
                                                   : "invalid";
}

COleDateTime const bad(2001, 2, 29, 0, 0, 0);
COleDateTime const first(100, 1, 1, 0, 0, 0);
COleDateTime const last(9999, 12, 31, 23, 59, 59);

}  // namespace

TEST(OleDateTime, TakesOnlyWhatTheCalendarHas) {
    struct {
        int year, month, day, hour, minute, second;
        bool good;
    } const rows[] = {
        {2004, 2, 29, 0, 0, 0, true},  {2003, 2, 29, 0, 0, 0, false},    {2000, 2, 29, 0, 0, 0, true},
        {1900, 2, 29, 0, 0, 0, false}, {400, 2, 29, 0, 0, 0, true},      {100, 1, 1, 0, 0, 0, true},
        {99, 12, 31, 0, 0, 0, false},  {9999, 12, 31, 23, 59, 59, true}, {10000, 1, 1, 0, 0, 0, false},
        {2004, 0, 1, 0, 0, 0, false},  {2004, 13, 1, 0, 0, 0, false},    {2004, 4, 31, 0, 0, 0, false},
        {2004, 4, 0, 0, 0, 0, false},  {2004, 4, 1, 24, 0, 0, false},    {2004, 4, 1, 0, 60, 0, false},
        {2004, 4, 1, 0, 0, 60, false}, {2004, 4, 1, -1, 0, 0, false},    {2004, 257, 1, 0, 0, 0, false},
        {67540, 1, 1, 0, 0, 0, false}, {INT_MIN, 1, 1, 0, 0, 0, false},  {2004, 1, 257, 0, 0, 0, false},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(&row - rows);
        COleDateTime const made(row.year, row.month, row.day, row.hour, row.minute, row.second);
        COleDateTime set;
        EXPECT_EQ(set.SetDateTime(row.year, row.month, row.day, row.hour, row.minute, row.second), !row.good);
        EXPECT_EQ(made, set);
        EXPECT_EQ(made.GetStatus(), row.good ? COleDateTime::valid : COleDateTime::invalid);
        int const parts[] = {made.GetYear(), made.GetMonth(),  made.GetDay(),
                             made.GetHour(), made.GetMinute(), made.GetSecond()};
        int const given[] = {row.year, row.month, row.day, row.hour, row.minute, row.second};
        for (int part = 0; part < 6; ++part) EXPECT_EQ(parts[part], row.good ? given[part] : -1);
    }
    EXPECT_EQ(bad.GetDayOfWeek(), -1);
    EXPECT_EQ(bad.GetDayOfYear(), -1);
    EXPECT_STREQ(bad.Format("%Y"), "");
    COleDateTime const zero;
    EXPECT_EQ(Text(zero), "1899/12/30 00:00:00");
    COleDateTime time(2004, 5, 6, 7, 8, 9);
    EXPECT_EQ(time.SetTime(12, 34, 56), 0);
    EXPECT_EQ(Text(time), "1899/12/30 12:34:56");
    EXPECT_EQ(time.SetDate(2004, 2, 30), 1);
    EXPECT_EQ(time.SetDate(2004, 2, 28), 0);
    EXPECT_EQ(Text(time), "2004/02/28 00:00:00");
}

// Walks the whole calendar day by day with a separate count.
TEST(OleDateTime, EveryDayOfTheCalendar) {
    int const lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    COleDateTime time = first;
    COleDateTimeSpan const day(1, 0, 0, 0);
    int week_day = 6;  // the first of January of the year 100 was a Friday
    for (int year = 100; year <= 9999; ++year) {
        bool const leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
        int day_of_year = 0;
        for (int month = 1; month <= 12; ++month)
            for (int date = 1; date <= lengths[month - 1] + (month == 2 && leap); ++date) {
                ASSERT_EQ(time.GetYear() * 10000 + time.GetMonth() * 100 + time.GetDay(),
                          year * 10000 + month * 100 + date);
                ASSERT_EQ(time.GetDayOfYear(), ++day_of_year);
                ASSERT_EQ(time.GetDayOfWeek(), week_day);
                week_day = week_day % 7 + 1;
                time += day;
            }
    }
    EXPECT_EQ(time.GetStatus(), COleDateTime::invalid);
}

TEST(OleDateTime, Arithmetic) {
    struct {
        COleDateTime from;
        COleDateTimeSpan span;
        char const* to;
    } const rows[] = {
        {{2004, 2, 28, 23, 59, 59}, {0, 0, 0, 1}, "2004/02/29 00:00:00"},
        {{2003, 2, 28, 23, 59, 59}, {0, 0, 0, 1}, "2003/03/01 00:00:00"},
        {{1999, 12, 31, 23, 50, 0}, {0, 0, 10, 0}, "2000/01/01 00:00:00"},
        {{2000, 1, 1, 0, 0, 0}, {-36525, 0, 0, -1}, "1899/12/30 23:59:59"},
        {{1899, 12, 30, 0, 0, 0}, {0, 0, 0, -1}, "1899/12/29 23:59:59"},
        {{1899, 12, 29, 6, 0, 0}, {0, -7, 0, 0}, "1899/12/28 23:00:00"},
        {{2004, 1, 1, 0, 0, 0}, {366, 24, 60, 60}, "2005/01/02 01:01:00"},
        {last, {0, 0, 0, 1}, "invalid"},
        {first, {0, 0, 0, -1}, "invalid"},
        {first, last - first, "9999/12/31 23:59:59"},
        {bad, {1, 0, 0, 0}, "invalid"},
        {first, {LONG_MAX, -96'000'000, 0, 0}, "invalid"},
        {first, COleDateTimeSpan::FromSeconds(INT64_MIN), "invalid"},
        {{}, COleDateTimeSpan(4'000'000, 0, 0, 0) + COleDateTimeSpan(-4'000'000, 0, 0, 0), "invalid"},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(&row - rows);
        COleDateTime const to = row.from + row.span;
        EXPECT_EQ(Text(to), row.to);
        if (to.GetStatus() != COleDateTime::valid) continue;
        EXPECT_EQ(to - row.span, row.from);
        EXPECT_EQ(to - row.from, row.span);
        EXPECT_EQ(row.from - to, -row.span);
    }
    EXPECT_EQ((last - bad).GetStatus(), COleDateTimeSpan::invalid);
    COleDateTime nothing;
    nothing.SetStatus(COleDateTime::null);
    EXPECT_EQ((nothing + COleDateTimeSpan(LONG_MAX, 0, 0, 0)).GetStatus(), COleDateTime::null);
    EXPECT_EQ((bad - nothing).GetStatus(), COleDateTimeSpan::null);

    COleDateTimeSpan const span(-2, -3, -4, -5);
    EXPECT_EQ(span.GetDays(), -2);
    EXPECT_EQ(span.GetHours(), -3);
    EXPECT_EQ(span.GetMinutes(), -4);
    EXPECT_EQ(span.GetSeconds(), -5);
    EXPECT_DOUBLE_EQ(COleDateTimeSpan(1, 12, 0, 0).GetTotalDays(), 1.5);
    EXPECT_DOUBLE_EQ(COleDateTimeSpan(1, 0, 30, 0).GetTotalHours(), 24.5);
    EXPECT_DOUBLE_EQ(COleDateTimeSpan(0, 0, 1, 30).GetTotalMinutes(), 1.5);
    EXPECT_LT(span, COleDateTimeSpan());
    EXPECT_EQ(COleDateTimeSpan(1, 0, 0, 0) - COleDateTimeSpan(0, 24, 0, 0), COleDateTimeSpan());
}

TEST(OleDateTime, Compares) {
    COleDateTime const times[] = {first, {1899, 12, 29, 23, 59, 59}, {}, {2004, 2, 29, 0, 0, 0}, last};
    for (auto const& a : times)
        for (auto const& b : times) {
            EXPECT_EQ(a < b, &a < &b);
            EXPECT_EQ(a > b, &a > &b);
            EXPECT_EQ(a <= b, &a <= &b);
            EXPECT_EQ(a >= b, &a >= &b);
            EXPECT_EQ(a == b, &a == &b);
        }
    EXPECT_NE(bad, COleDateTime());
    EXPECT_EQ(bad, COleDateTime(1, 1, 1, 1, 1, 1));
}

TEST(OleDateTime, Formats) {
    COleDateTime const time(2004, 2, 9, 0, 5, 7);
    struct {
        char const *format, *text;
    } const rows[] = {
        {"%Y/%m/%d %H:%M:%S", "2004/02/09 00:05:07"},
        {"%y %j %w %I %p", "04 040 1 12 AM"},
        {"%a %A %b %B %%", "Mon Monday Feb February %"},
        {"%Y年%m月%d日 表示", "2004年02月09日 表示"},
        {"%q%", "%q%"},
        {"%表%d", "%表09"},
        {"", ""},
    };
    for (auto const& row : rows) EXPECT_STREQ(time.Format(row.format), row.text);
    EXPECT_STREQ(COleDateTime(987, 11, 30, 12, 0, 0).Format("%Y %I %p %B"), "0987 12 PM November");
    EXPECT_STREQ(COleDateTime(2004, 12, 31, 23, 0, 0).Format("%I %p %j"), "11 PM 366");
    EXPECT_STREQ(time.Format(nullptr), "");
}

TEST(OleDateTime, Parses) {
    struct {
        char const *text, *time;
    } const rows[] = {
        {"2004/02/29 10:20:30", "2004/02/29 10:20:30"},
        {"2004-2-9 1:2", "2004/02/09 01:02:00"},
        {"2004/2/9", "2004/02/09 00:00:00"},
        {" \t2004/02/29   10:20:30 ", "2004/02/29 10:20:30"},
        {"23:59", "1899/12/30 23:59:00"},
        {"1:02:03", "1899/12/30 01:02:03"},
        {"2003/02/29", "invalid"},
        {"2004/02/29 24:00:00", "invalid"},
        {"2004/02-09", "invalid"},
        {"2004/02/09T10:20:30", "invalid"},
        {"2004/02/0910:20", "invalid"},
        {"2004/02/09 10", "invalid"},
        {"2004/02/09 10:20:30 x", "invalid"},
        {"2004/02/09 10:20:", "invalid"},
        {"2004/2", "invalid"},
        {"99/1/1", "invalid"},
        {"-2004/1/1", "invalid"},
        {"4294969300/01/01", "invalid"},
        {"2004年2月9日", "invalid"},
        {"", "invalid"},
        {nullptr, "invalid"},
    };
    for (auto const& row : rows) {
        COleDateTime time(2001, 1, 1, 1, 1, 1);
        EXPECT_EQ(time.ParseDateTime(row.text), std::string(row.time) != "invalid")
            << (row.text ? row.text : "");
        EXPECT_EQ(Text(time), row.time) << (row.text ? row.text : "");
    }
}

TEST(OleDateTime, TakesTheClockInLocalTime) {
    TimeZone const zone("Asia/Tokyo");
    platform::FrozenClock clock({1078066799, 999});  // 2004-02-29 14:59:59 UTC
    EXPECT_EQ(Text(COleDateTime::GetCurrentTime()), "2004/02/29 23:59:59");
    clock.Set({1078066800, 0});
    EXPECT_EQ(Text(COleDateTime::GetCurrentTime()), "2004/03/01 00:00:00");
    EXPECT_EQ(Text(COleDateTime::FromUnixSeconds(1078066800)), "2004/02/29 15:00:00");
    EXPECT_EQ(Text(COleDateTime::FromUnixSeconds(-1)), "1969/12/31 23:59:59");
    EXPECT_EQ(Text(COleDateTime::FromUnixSeconds(253402300800)), "invalid");
    EXPECT_EQ(Text(COleDateTime::FromUnixSeconds(INT64_MIN)), "invalid");
}
