#include "tessaly/compose/attach_file_manager.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/file.h"
#include "tessaly/mime/mime_decode_tool.h"
#include "tessaly/mime/transfer_encodings.h"
#include "tests/platform/scratch_folder.h"

using enum mime::MailBodyEncoding;

namespace {

CString Text(std::string const& text) { return CString(std::string_view(text)); }

std::string Decoded(CString const& base64) {
    std::string bytes(mime::MailBodyRoom(static_cast<std::size_t>(base64.GetLength())), '\0');
    int size = 0;
    DecodeMailBody(base64, MAIL_BODY_BASE64, bytes.data(), size);
    return bytes.substr(0, static_cast<std::size_t>(size));
}

TEST(AttachFile, AnyBytesFromAFileIntoAPartAndBack) {
    ScratchFolder const scratch;
    std::string all;
    for (int i = 0; i < 100000; ++i) all += static_cast<char>(i % 251 * 7 + i / 1000);
    for (std::size_t const size : {0, 1, 2, 3, 56, 57, 58, 1000, 100000}) {
        std::string const content = all.substr(0, size);
        CString const path = scratch.Path("表 a.bin");
        platform::WriteWholeFile(path, content);
        CAttachFileManager file, again;
        EXPECT_EQ(0, file.SetFileInfoFromFile(path));
        EXPECT_EQ("表 a.bin", file.GetFileName());
        EXPECT_EQ(content, Decoded(file.GetFileBodyBase64()));
        EXPECT_EQ(0, again.SetFileInfoFromMimeString(file.GetFileMimeString()));
        EXPECT_EQ("表 a.bin", again.GetFileName());
        EXPECT_EQ(content, Decoded(again.GetFileBodyBase64()));
    }
    CAttachFileManager file;
    EXPECT_EQ(-1, file.SetFileInfoFromFile(scratch.Path("missing")));
    EXPECT_EQ(-2, file.SetFileInfoFromFile(scratch.Path()));
    EXPECT_EQ(-1, file.SetFileInfoFromMimeString("no colon\r\n\r\n"));
}

TEST(AttachFile, ThePartByteForByte) {
    CAttachFileManager file;
    EXPECT_EQ("", file.GetFileMimeString());
    file.SetFileInfoFromMimeString(
        "Content-Type: a/b; name=\"名\"\r\nContent-Transfer-Encoding: base64\r\n\r\nYWI=");
    std::string const name(CAttachFileManager::EncodeFileName("名").View());
    EXPECT_EQ("Content-type: application/octet-stream;\r\n\tname=\"" + name +
                  "\"\r\nContent-Disposition: attachment\r\n\tfilename=\"" + name +
                  "\"\r\nContent-Transfer-Encoding: base64;\r\n\r\nYWI=",
              std::string(file.GetFileMimeString().View()));
    file.SetFileInfoFromMimeString(
        "Content-Type: a/b; name=\"=?iso-2022-jp?B?YQ0KWDogeQo=?=\"\r\nContent-Transfer-Encoding: "
        "base64\r\n\r\n");
    EXPECT_EQ("a\r\nX: y\n", file.GetFileName());
    EXPECT_TRUE(file.GetFileMimeString().View().starts_with(
        "Content-type: application/octet-stream;\r\n\tname=\"a X: y \"\r\nContent-Disposition: attachment\r\n"
        "\tfilename=\"a X: y \"\r\nContent-Transfer"));
    file.Init();
    EXPECT_EQ("", file.GetFileMimeString());
}

TEST(AttachFile, NamesAndEncodingsOfReceivedParts) {
    const struct {
        std::string head;
        int result;
        char const *name, *body;
    } rows[] = {
        {"Content-Disposition: x; FILENAME=\"a\"\r\nContent-Type: a/b; "
         "name=\"b\"\r\nContent-Transfer-Encoding: 7bit",
         0, "a", "a=41"},
        {"Content-Disposition: x\r\nContent-Type: a/b; name=b c; d\r\nContent-Transfer-Encoding: 7BIT", 0,
         "bc", "a=41"},
        {"Content-Disposition: x; filename=\"a\\\"b;.txt\" c\r\nContent-Transfer-Encoding: x-7bit", 0,
         "a\"b;.txt", "a=41"},
        {"Content-Disposition: x; filename=\"open\r\nContent-Transfer-Encoding: Quoted-Printable", 0, "open",
         "aA"},
        {"Content-Type: a/b; name==?iso-2022-jp?B?GyRCST0bKEI=?=\r\nContent-Transfer-Encoding: 7bit", 0, "表",
         "a=41"},
        {"Content-Disposition: x; filename=\"一覧表\"; size=3\r\nContent-Transfer-Encoding: 7bit", 0,
         "一覧表", "a=41"},
        {"Content-Disposition: x; filename=\"表\\\"ソ\\\"\"; y\r\nContent-Transfer-Encoding: 7bit", 0,
         "表\"ソ\"", "a=41"},
        {"Content-Disposition: x; filename=\"a\x81\"; y=\"z\r\nContent-Transfer-Encoding: 7bit", 0, "a\x81",
         "a=41"},
        {"Content-Type: a/b; title=\"始ame=no\"; name=yes\r\nContent-Transfer-Encoding: 7bit", 0, "yes",
         "a=41"},
        {"Content-Transfer-Encoding: 7bit", 3, "", "a=41"},
        {"Content-Disposition: x; filename=\"\"\r\nContent-Transfer-Encoding: 7bit", 3, "", "a=41"},
        {"Content-Disposition: x; filename=\"a\"\r\nContent-Transfer-Encoding: 8bit", -2, "", ""},
        {"Content-Disposition: x; filename=\"a\"", -2, "", ""},
    };
    for (auto const& row : rows) {
        CAttachFileManager file;
        EXPECT_EQ(row.result, file.SetFileInfoFromMimeString(Text(row.head + "\r\n\r\na=41"))) << row.head;
        EXPECT_EQ(row.name, file.GetFileName()) << row.head;
        EXPECT_EQ(row.body, Decoded(file.GetFileBodyBase64())) << row.head;
    }
}

}  // namespace
