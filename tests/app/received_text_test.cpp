#include "received_text.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/processor_time.h"

namespace {

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
            MimeFormatStruct entity;
            std::string value = " attachment; filename*=";
            while (value.size() < static_cast<std::size_t>(size)) value += repeated;
            entity.m_strContentDisposition = entity.m_strContentType = CString(value.c_str());
            entity.m_aHeader.Add({"Subject", CString(value.c_str())});
            return entity;
        };
        auto const read = [](MimeFormatStruct const& entity) {
            app::NameOfPart(entity);
            app::SubjectOf(entity);
        };
        EXPECT_TRUE(TakesLinearTime(100000, mail, read)) << repeated;
    }
}

}  // namespace
