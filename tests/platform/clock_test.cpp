#include "platform/clock.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/platform/time_zone.h"

namespace {

std::string Text(platform::CalendarTime const& time) {
    char text[80];
    std::snprintf(text, sizeof text, "%d-%02d-%02d %02d:%02d:%02d %d", time.year, time.month, time.day,
                  time.hour, time.minute, time.second, time.weekday);
    return text;
}

std::string Text(std::tm const& time) {
    return Text(platform::CalendarTime{time.tm_year + 1900, time.tm_mon + 1, time.tm_mday, time.tm_hour,
                                       time.tm_min, time.tm_sec, time.tm_wday});
}

std::string LocalBySystem(std::time_t seconds) {
    std::tm parts = {};
    return Text(*localtime_r(&seconds, &parts));
}

std::string UtcBySystem(std::time_t seconds) {
    std::tm parts = {};
    return Text(*gmtime_r(&seconds, &parts));
}

}  // namespace

TEST(Clock, LocalTimeIsTheSystemsInEveryZone) {
    // New York, Lord Howe (half an hour of summer time), St. John's (changed at 00:01), Monrovia (44:30
    // behind UTC until 1972), a rule that changes within a minute, and a text longer than any name of a zone.
    char const* const zones[] = {"Asia/Tokyo",
                                 "America/New_York",
                                 "Australia/Lord_Howe",
                                 "America/St_Johns",
                                 "Africa/Monrovia",
                                 "AAA-1:00:30BBB,M3.2.0/2:00:07,M11.1.0/2:00:07",
                                 "<ALONGNAMEOFAZONETHATISLONGERTHANANYOTHERNAMEOFAZONEINTHISWORLD>-3",
                                 "UTC",
                                 ""};
    std::mt19937_64 random(7);
    for (char const* name : zones) {
        TimeZone const zone(name);
        for (int round = 0; round < 3000; ++round) {
            auto const seconds = static_cast<std::int64_t>(random() % 6'300'000'000) - 2'200'000'000;
            ASSERT_EQ(Text(platform::LocalTime(seconds)), LocalBySystem(seconds)) << name << ' ' << seconds;
            ASSERT_EQ(Text(platform::UtcTime(seconds)), UtcBySystem(seconds)) << seconds;
        }
    }
}

TEST(Clock, OffsetChangesInTheVerySecond) {
    struct {
        char const* zone;
        std::int64_t change;
    } const rows[] = {{"America/New_York", 1709449200 + 604800},
                      {"America/St_Johns", 1173583860},
                      {"Australia/Lord_Howe", 1712415600},
                      {"Africa/Monrovia", 63593070}};
    for (auto const& row : rows) {
        TimeZone const zone(row.zone);
        EXPECT_NE(platform::UtcOffset(row.change - 1), platform::UtcOffset(row.change)) << row.zone;
        for (std::int64_t seconds = row.change - 4000; seconds < row.change + 4000; ++seconds)
            ASSERT_EQ(Text(platform::LocalTime(seconds)), LocalBySystem(seconds))
                << row.zone << ' ' << seconds;
    }
}

TEST(Clock, FollowsTheZoneInEveryThread) {
    platform::FrozenClock const clock({1078066800, 5});  // 2004-02-29 15:00:00 UTC
    TimeZone const zone("Asia/Tokyo");
    EXPECT_EQ(Text(platform::LocalTimeNow()), "2004-03-01 00:00:00 1");
    TimeZone::Set("America/New_York");
    EXPECT_EQ(Text(platform::LocalTimeNow()), "2004-02-29 10:00:00 0");
    setenv("TZ", "XYZ+5:30", 1);  // without tzset
    EXPECT_EQ(Text(platform::LocalTimeNow()), "2004-02-29 09:30:00 0");
    EXPECT_EQ(platform::UtcOffset(0), -19800);
    std::vector<std::string> texts(4);
    std::vector<std::thread> threads;
    TimeZone::Set("Europe/Paris");
    for (std::string& text : texts)
        threads.emplace_back([&text] {
            for (int round = 0; round < 10000; ++round) text = Text(platform::LocalTimeNow());
        });
    for (std::thread& thread : threads) thread.join();
    for (std::string const& text : texts) EXPECT_EQ(text, "2004-02-29 16:00:00 0");
}

TEST(Clock, StandardTimezoneKnowsNoSummer) {
    struct {
        char const* zone;
        long west;
    } const rows[] = {{"Asia/Tokyo", -32400}, {"America/New_York", 18000}, {"Australia/Sydney", -36000},
                      {"Europe/Dublin", 0},   {"America/St_Johns", 12600}, {"UTC", 0},
                      {"XYZ-5:45", -20700}};
    TimeZone const zone("UTC");
    for (std::int64_t const now : {1705276800, 1721001600}) {  // January and July of 2024
        platform::FrozenClock const clock({now, 0});
        for (auto const& row : rows) {
            setenv("TZ", row.zone, 1);
            EXPECT_EQ(platform::StandardTimezone(), row.west) << row.zone << ' ' << now;
        }
    }
}

TEST(Clock, StandsWhileFrozenAndRunsAgain) {
    platform::Instant const before = platform::Now();
    std::int64_t const steady = platform::MonotonicMilliseconds();
    {
        platform::FrozenClock clock({-2, 250});
        EXPECT_EQ(platform::Now().seconds, -2);
        EXPECT_EQ(platform::Now().milliseconds, 250);
        EXPECT_EQ(Text(platform::UtcTime(platform::Now().seconds)), "1969-12-31 23:59:58 3");
        clock.Set({2'000'000'000, 999});
        EXPECT_EQ(platform::Now().seconds, 2'000'000'000);
        EXPECT_EQ(platform::Now().milliseconds, 999);
    }
    EXPECT_GE(platform::Now().seconds, before.seconds);
    EXPECT_LT(platform::Now().seconds, before.seconds + 100);
    EXPECT_GE(platform::MonotonicMilliseconds(), steady);
    EXPECT_EQ(platform::UtcTime(INT64_MAX).year, 32767);
    EXPECT_EQ(platform::UtcTime(INT64_MIN).year, -32767);
    TimeZone const zone("Asia/Tokyo");
    EXPECT_EQ(platform::LocalTime(INT64_MAX).year, 32767);
    EXPECT_EQ(platform::UtcOffset(INT64_MAX), 32400);
    EXPECT_EQ(platform::UtcOffset(INT64_MIN), 33539);  // local mean time
}
