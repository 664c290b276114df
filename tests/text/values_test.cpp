#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <random>
#include <string>

#include "platform/clock.h"
#include "platform/file.h"
#include "tessaly/text/dates.h"
#include "tessaly/text/value_checks.h"
#include "tests/platform/scratch_folder.h"
#include "tests/platform/time_zone.h"

namespace {

std::string DateText(COleDateTime const& date) {
    char out[text::date_data_size + 1];
    std::memset(out, 'x', sizeof out);
    Convert_COleDateTime2DateData(date, out);
    EXPECT_EQ(out[text::date_data_size], 'x');
    return out;
}

}  // namespace

TEST(ValueChecks, MailAddresses) {
    for (char const* good : {"a@b.c", "taro+news@example.co.jp", "o'neil@example.com", "a_b@x-y.jp", "a.@b.c",
                             "a..b@c.d", "{|}^`~!#$%&*=?/@a.b", "Z9@1.2"})
        EXPECT_EQ(MailAddressChecker(good), 1) << good;
    for (char const* bad : {"",          "a",       "@b.c",    "a@",      "a@b",     "a@.b",      "a@b.",
                            "a@b..c",    "a@b_c.d", "a@b@c.d", "a b@c.d", "a@c.d ",  "\"a\"@b.c", "(a)@b.c",
                            "a,b@c.d",   "a:b@c.d", "a;b@c.d", "<a@b.c",  "[a]@b.c", "a\\b@c.d",  "a\x7F@b.c",
                            "a\r\n@b.c", "漢@b.c",  "a@漢.c",  "ｱ@b.c",   ".@."})
        EXPECT_EQ(MailAddressChecker(bad), 0) << bad;
    EXPECT_EQ(MailAddressChecker(nullptr), 0);
}

TEST(ValueChecks, NumbersAndSets) {
    for (char const* good : {"", "0", "123456789", "-123456789", "+1"})
        EXPECT_EQ(CheckNumberData(good), 1) << good;
    for (char const* bad : {"1234567890", "+1234567890", "1a", "+", "-", "+-1", "1 ", "x", "１"})
        EXPECT_EQ(CheckNumberData(bad), 0) << bad;
    EXPECT_EQ(CheckSpecialStringData("", ""), 1);
    EXPECT_EQ(CheckSpecialStringData("1", ""), 0);
    EXPECT_EQ(CheckSpecialStringData("03-12", "1234567890-"), 1);
    EXPECT_EQ(CheckSpecialStringData("03 12", "1234567890-"), 0);
    EXPECT_EQ(CheckDateTypeData("2004/2/29", 3), 1);
    EXPECT_EQ(CheckDateTypeData("2004/2/29", 6), 0);
    EXPECT_EQ(CheckDateTypeData("2003/2/29", 3), 0);
    EXPECT_EQ(CheckDateTypeData(nullptr, 0), 1);
}

TEST(Dates, TextAndBack) {
    COleDateTime const date(2004, 2, 29, 9, 5, 0);
    EXPECT_EQ(DateText(date), "2004/02/29 09:05:00");
    EXPECT_EQ(Convert_DateData2COleDateTime("2004/02/29 09:05:00"), date);
    EXPECT_EQ(Convert_DateData2COleDateTime("2004/02/29 09:05"), COleDateTime());
    EXPECT_EQ(Convert_DateData2COleDateTime(""), COleDateTime());
    EXPECT_EQ(Convert_DateData2COleDateTime(nullptr).GetStatus(), COleDateTime::valid);
    COleDateTime const none = Convert_DateData2COleDateTime("2003/02/29 09:05:00");
    EXPECT_EQ(none.GetStatus(), COleDateTime::invalid);
    EXPECT_EQ(DateText(none), "-001/-1/-1 -1:-1:-1");
}

// The reader accepts the texts that scanf accepts.
TEST(Dates, ReadsAsScanf) {
    std::mt19937 random(11);
    constexpr std::string_view bytes = "0123456789/: \t+-x";
    int complete = 0;
    for (int i = 0; i < 200000; ++i) {
        std::string text = "2004/10/05 09:30:15";
        for (auto changes = random() % 4; changes > 0; --changes) {
            std::size_t const at = random() % text.size();
            char const byte = bytes[random() % bytes.size()];
            switch (random() % 3) {
                case 0: text[at] = byte; break;
                case 1: text.insert(at, 1, byte); break;
                default: text.erase(at, 1);
            }
        }
        int n[6];
        COleDateTime wanted;
        if (std::sscanf(text.c_str(), "%4d/%2d/%2d %2d:%2d:%2d", n, n + 1, n + 2, n + 3, n + 4, n + 5) == 6) {
            wanted = COleDateTime(n[0], n[1], n[2], n[3], n[4], n[5]);
            ++complete;
        }
        ASSERT_EQ(Convert_DateData2COleDateTime(text.c_str()), wanted) << text;
    }
    EXPECT_GT(complete, 50000);
}

TEST(Dates, AdjustTimeRoundsUpToTenMinutes) {
    struct {
        COleDateTime from;
        std::string to;
    } const cases[] = {
        {{2004, 10, 5, 10, 23, 40}, "2004/10/05 10:30:00"},
        {{2004, 10, 5, 10, 20, 40}, "2004/10/05 10:20:00"},
        {{2004, 12, 31, 23, 55, 0}, "2005/01/01 00:00:00"},
        {{2004, 2, 28, 23, 51, 0}, "2004/02/29 00:00:00"},
        {{9999, 12, 31, 23, 55, 0}, "-001/-1/-1 -1:-1:-1"},
    };
    for (auto const& c : cases) {
        COleDateTime value = c.from;
        EXPECT_EQ(&AdjustTime(value), &value);
        EXPECT_EQ(DateText(value), c.to);
    }
    COleDateTime invalid(2003, 2, 29, 0, 0, 0);
    EXPECT_EQ(AdjustTime(invalid).GetStatus(), COleDateTime::invalid);
}

TEST(Dates, InternetDatesInLocalTime) {
    TimeZone const japan("JST-9");
    struct {
        char const* text;
        char const* local;  // null for a text that is refused
    } const cases[] = {
        {"Tue, 05 Oct 2004 09:30:15 +0900", "2004/10/05 09:30:15"},
        {"Tue, 05 Oct 2004 09:30:15 JST", "2004/10/05 09:30:15"},
        {"Tue, 05 Oct 2004 00:30:15 GMT", "2004/10/05 09:30:15"},
        {" 5 Oct 2004 00:30:15 Z", "2004/10/05 09:30:15"},
        {"Tue, 05 Oct 2004 00:30:15 -0330 (NST)", "2004/10/05 13:00:15"},
        {"Fri, 31 Dec 2004 20:00:00 EST", "2005/01/01 10:00:00"},
        {"Fri, 31 Dec 2004 20:00:00 I\r\n", "2004/12/31 20:00:00"},
        {"Fri, 31 Dec 2004 20:00:00 K", "2004/12/31 19:00:00"},
        {"Fri, 31 Dec 2004 20:00:00 Y", "2005/01/01 17:00:00"},
        {"Fri, 31 Dec 2004 20:00:00 J", "2005/01/01 05:00:00"},
        {"Fri, 31 Dec 2004 20:00:00 PDT", "2005/01/01 12:00:00"},
        {"Fri, 31 Dec 2004 20:00:00 unknown", "2005/01/01 05:00:00"},
        {"05 Oct 2004 09:30:15 +0900", nullptr},
        {"Tue,05 Oct 2004 09:30:15 +0900", nullptr},
        {"Tue, 05 oct 2004 09:30:15 +0900", nullptr},
        {"Tue,  5 Oct 2004 09:30:15 +0900", nullptr},
        {"Tue, 05 Oct 2004 09:30 +0900", nullptr},
        {"Tue, 05 Oct 2004 09:30:15", nullptr},
        {"Tue, 05 Oct 2004 09:30:15 ", nullptr},
        {"Wed, 31 Jun 2004 09:30:15 +0900", nullptr},
        {"Wed, 29 Feb 2003 09:30:15 +0900", nullptr},
        {"Fri, 31 Dec 9999 20:00:00 GMT", nullptr},
        {"Fri, 31 Dec 2004 20:00:00 +99999999999999999999", nullptr},
        {"Fri, 99999999999 Dec 2004 20:00:00 Z", nullptr},
        {"", nullptr},
        {nullptr, nullptr},
    };
    for (auto const& c : cases) {
        COleDateTime out(2001, 1, 1, 0, 0, 0);
        EXPECT_EQ(ConvertDateTimeFormat(c.text, out), c.local ? 1 : 0) << (c.text ? c.text : "null");
        EXPECT_EQ(DateText(out), c.local ? c.local : "2001/01/01 00:00:00") << (c.text ? c.text : "null");
    }
    // From east to west the American zones are an hour apart, and so are summer and standard time.
    COleDateTime eastern;
    ASSERT_EQ(ConvertDateTimeFormat("Fri, 31 Dec 2004 20:00:00 -0400", eastern), 1);
    for (int hours = 0; hours < 4; ++hours)
        for (int const standard : {0, 1}) {
            CString text;
            text.Format("Fri, 31 Dec 2004 20:00:00 %c%cT", "ECMP"[hours], "DS"[standard]);
            COleDateTime zoned;
            ASSERT_EQ(ConvertDateTimeFormat(text, zoned), 1);
            EXPECT_EQ((zoned - eastern).WholeSeconds(), (hours + standard) * 3600) << text.View();
        }
    // Summer time has no influence, though it applies on that day.
    TimeZone const new_york("EST5EDT,M3.2.0,M11.1.0");
    COleDateTime out;
    ASSERT_EQ(ConvertDateTimeFormat("Thu, 01 Jul 2004 12:00:00 GMT", out), 1);
    EXPECT_EQ(DateText(out), "2004/07/01 07:00:00");
}

TEST(Dates, NowAndTheTimesOfAFile) {
    TimeZone const japan("JST-9");
    char out[text::date_data_size];
    {
        platform::FrozenClock const clock({1096936215, 0});
        GetNowDateTime(out);
        EXPECT_STREQ(out, "2004/10/05 09:30:15");
    }
    ScratchFolder const folder;
    CString const path = folder.Path("date.txt");
    EXPECT_EQ(GetFileStat_LastRenewalDate(path, out), 0);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(GetFileStat_CreateDate(nullptr, out), 0);
    ASSERT_TRUE(platform::WriteWholeFile(path, "x"));
    std::int64_t created = 0, modified = 0;
    ASSERT_TRUE(platform::FileTimes(path, &created, &modified));
    EXPECT_EQ(GetFileStat_LastRenewalDate(path, out), 1);
    EXPECT_EQ(Convert_DateData2COleDateTime(out), COleDateTime::FromUnixSeconds(modified + 9 * 3600));
    EXPECT_EQ(GetFileStat_CreateDate(path, out), 1);
    EXPECT_EQ(Convert_DateData2COleDateTime(out), COleDateTime::FromUnixSeconds(created + 9 * 3600));
}
