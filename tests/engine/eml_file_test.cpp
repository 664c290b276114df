#include "engine/mails/eml_file.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "engine/base/failure.h"
#include "tests/platform/scratch_folder.h"

namespace {

// The text of an .eml file of one text part; what is said of one that cannot be read.
std::string TextOf(std::string const& charset, std::string const& body) {
    ScratchFolder const folder;
    std::ofstream(folder.Host("a.eml"), std::ios::binary)
        << "Subject: s\r\nContent-Type: text/plain" << charset
        << "\r\nContent-Transfer-Encoding: 8bit\r\n\r\n"
        << body;
    try {
        engine::UnpackedEml const eml(folder.Host("a.eml"));
        std::ostringstream text;
        text << std::ifstream(eml.Texts().draft).rdbuf();
        return text.str();
    } catch (engine::Failure const& failure) {
        return failure.what();
    }
}

TEST(EmlFile, TextsOfEveryKnownCharset) {
    std::string const head = "Subject: s\n\n", sjis = "\x95\x5C";
    EXPECT_EQ(TextOf("", sjis), head + "表");
    for (char const* charset : {"us-ascii", "Shift_JIS", "shift-jis", "windows-31j", "CP932"})
        EXPECT_EQ(TextOf(std::string("; charset=") + charset, sjis), head + "表") << charset;
    EXPECT_EQ(TextOf("; charset=\"ISO-2022-JP\"", "\x1B$BI=\x1B(B"), head + "表");
    EXPECT_EQ(TextOf("; charset=euc-jp", "\xC9\xBD"), head + "表");
    EXPECT_EQ(TextOf("; charset=utf-8", "表💐"), head + "表💐");
    EXPECT_EQ(TextOf("; charset=x-own", "x"), "この文字コードの文面は読めません: x-own");
}

}  // namespace
