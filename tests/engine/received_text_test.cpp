#include "engine/mails/received_text.h"

#include <gtest/gtest.h>

#include <string>

#include "engine/base/crossing.h"
#include "tessaly/delivery.h"
#include "tests/support/processor_time.h"

namespace {

TEST(ReceivedText, HeadersAreReadWhateverTheyAreWrittenIn) {
    std::pair<std::string, std::string> const rows[] = {
        {"plain", "plain"},
        {"=?UTF-8?B?8J+SkOaYpQ==?= a", "💐春 a"},
        {"=?utf-8?q?=E6=98=A5_a=3F?=", "春 a?"},
        {"=?utf-8*ja?Q?=F0=9F=92=90?=\t =?UTF-8?B?5pil?=", "💐春"},       // with a language; folded
        {"=?utf-8?B?8J+S?= =?utf-8?B?kOaYpQ==?=", "💐春"},                // a character divided
        {"a =?utf-8?B?5pil?= b =?utf-8?B?5pil?=", "a 春 b 春"},          // blanks that count
        {"=?utf-8?B?8J+SkA==?= =?ISO-2022-JP?B?GyRCPVUbKEI=?=", "💐春"},  // two codes
        {"=?shift_jis?B?jw==?= =?Shift_JIS?B?dA==?=", "春"},
        {"=?shift_jis?B?j3Q=?==?euc-jp?B?vdU=?=", "春春"},
        {"=?x-own?B?5pil?= =?utf-8?B?5pil", "=?x-own?B?5pil?= =?utf-8?B?5pil"},  // unknown; without an end
        {"=?utf-8?X?5pil?==?=?utf-8?B?5pil?=", "=?utf-8?X?5pil?==?春"},
        {"春💐", "春💐"},
        {"\x1B$B=U\x1B(B", "春"},
        {"\x8Ft", "春"},
    };
    for (auto const& [header, text] : rows) EXPECT_EQ(engine::DecodedHeader(header), text) << header;
}

TEST(ReceivedText, PartsTellTheirNames) {
    struct Row {
        std::string disposition, type, name;
    };
    Row const rows[] = {
        {" attachment; filename=\"=?utf-8?B?8J+SkOaYpS50eHQ=?=\"", "", "💐春.txt"},
        {" attachment; filename=\"=?utf-8?B?8J+SkA==?= =?utf-8?B?5pil?=.txt\"", "", "💐春.txt"},
        {" attachment; filename==?utf-8?B?5pil?=.txt; size=3", "", "春.txt"},
        {" attachment; filename=\"春💐.txt\"; size=3", "", "春💐.txt"},
        {" attachment; filename=\"\x88\xEA\x97\x97\x95\x5C\"; size=3", "", "一覧表"},
        {" attachment; filename=\"a\\\";b.txt\"; size=3", "", "a\";b.txt"},
        {" attachment; (filename=x) FileName = a.txt", " image/gif; name=b.gif", "a.txt"},
        {" inline", " image/gif; name=b.gif", "b.gif"},
        {" attachment; filename*=utf-8''%F0%9F%92%90.txt", "", "💐.txt"},
        {" attachment; filename*=x-own''%8Ft.txt", "", "春.txt"},
        {" attachment; filename=my file (1).txt ", "", "my file (1).txt"},
        {" attachment; filename=\"a.txt", "", "a.txt"},
        {"", "", ""},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(engine::NameOfPart(row.disposition, row.type), row.name) << row.disposition;
    }
}

TEST(ReceivedText, HostileHeadersTakeLinearTime) {
    for (char const* repeated : {";",
                                 "a;",
                                 "=",
                                 "\"",
                                 "\\\"",
                                 "'",
                                 "%",
                                 "%41",
                                 "filename*",
                                 "filename*=",
                                 "filename*0=a;",
                                 "filename*1*=a'b'c;",
                                 "filename*=a'",
                                 "filename=;",
                                 "=?utf-8?b?",
                                 "=?utf-8?b?YQ?=",
                                 "=?utf-8?q?=?",
                                 "=?a",
                                 "=?",
                                 "?=",
                                 "\x81",
                                 "\x1B$B"}) {
        auto const mail = [&](int size) {
            std::string value = " attachment; filename*=";
            while (value.size() < static_cast<std::size_t>(size)) value += repeated;
            return value;
        };
        auto const read = [](std::string const& value) {
            engine::NameOfPart(value, value);
            engine::DecodedHeader(value);
        };
        EXPECT_TRUE(TakesLinearTime(100000, mail, read)) << repeated;
    }
}

}  // namespace
