#include "tessaly/mailstore/attach_writer.h"

#include <gtest/gtest.h>

#include "tessaly/storage/error_codes.h"
#include "tessaly/text/directories.h"
#include "tests/mailstore/mail_environment.h"

using enum storage::ErrorCode;

namespace {

class AttachWriterTest : public testing::Test {
  protected:
    AttachWriterTest() { MakeDirectoryCompel(place.Path("MAIL\\ATEMP\\pc")); }
    void Bind(AttachWriter& writer, int version, TermType term = pc) {
        EXPECT_EQ(1, writer.SetEnvManager(&place.env));
        EXPECT_EQ(1, writer.SetVersion(version));
        EXPECT_EQ(1, writer.SetMailID(12));
        EXPECT_EQ(1, writer.SetTermType(term));
        EXPECT_EQ(1, writer.LoadAttachList(nullptr));
    }
    static void ExpectFails(AttachWriter& writer, int code, int got) {
        EXPECT_EQ(0, got) << code;
        EXPECT_EQ(code, writer.GetErrMsg().GetLastCode());
        writer.GetErrMsg().Clear();
    }

    MailEnvironment place;
};

// Every byte value, in an order that no period of the encoding matches.
std::string Bytes(std::size_t size) {
    std::string bytes(size, '\0');
    unsigned value = 0;
    for (char& byte : bytes) byte = static_cast<char>((value += 0x9E3779B1U) >> 24);
    return bytes;
}

TEST_F(AttachWriterTest, FilesComeBackByteForByteInEveryFormat) {
    struct {
        int version;
        TermType term;
        char const *work, *list, *body;
    } const formats[] = {
        {3, pc, "MAIL\\ATEMP\\", "MAIL\\12\\attc12.dat", "MAIL\\12\\ATTACH\\"},
        {4, pc, "MAIL\\ATEMP\\", "MAIL\\12\\attc12.dat", "MAIL\\12\\ATTACH\\"},
        {5, pc, "MAIL\\ATEMP\\pc\\", "MAIL\\12\\ATTACH\\at_pc12.dat", "MAIL\\12\\ATTACH\\pc\\"},
        {5, sb, "MAIL\\ATEMP\\sb\\", "MAIL\\12\\ATTACH\\at_sb12.dat", "MAIL\\12\\ATTACH\\sb\\"}};
    constexpr std::size_t sizes[] = {0, 1, 56, 57, 58, 114, 3072, 3073, 100000};
    CString const key = place.env.GetDBKey();
    for (auto const& [version, term, work, list, body] : formats) {
        SCOPED_TRACE(testing::Message() << version << ' ' << term);
        MakeDirectoryCompel(place.Path(work));
        {
            AttachWriter emptying;
            Bind(emptying, version, term);
            EXPECT_TRUE(place.Put(CString(work) + "old", ""));
        }
        EXPECT_FALSE(place.Has(CString(work) + "old"));
        AttachWriter writer;
        Bind(writer, version, term);
        writer.SetFlagForDeleteFileInTemp(0);
        for (std::size_t const size : sizes) {
            CString name, text;
            name.Format("見積,表ソ \"%d\".xls", static_cast<int>(size));  // 表 and ソ end in a backslash
            EXPECT_TRUE(place.Put(work + name, Bytes(size)));
            EXPECT_EQ(1, writer.EncodeTempDataToDataDir(name, 0)) << size;
            EXPECT_EQ(0, writer.SetAttachListRecordToMemory(name, "種類"));
            EXPECT_EQ(1, writer.GetAttachDataString(name, text));
            EXPECT_EQ(place.Content(body + name + ".base64"), text.View());
            EXPECT_TRUE(size < 57 || text.Mid(76, 2) == "\r\n");
            EXPECT_EQ(text.Right(2) == "\r\n" ? text : text + "\r\n",
                      AttachWriter::GetBase64EncodedStringForFile(place.Path(work + name)));
        }
        EXPECT_EQ(1, writer.SaveAttachList());
        char const* const list_key = version == 3 ? nullptr : static_cast<char const*>(key);
        EXPECT_NE(std::string::npos, TableContentOf(place.Path(list), list_key).find("\"種類\""));

        AttachWriter reader;
        Bind(reader, version, term);
        ClearDirectoryCompel(reader.GetFolderPathForAttachFileTemporary());
        EXPECT_EQ(1, reader.CheckAllFile());
        ASSERT_EQ(static_cast<int>(std::size(sizes)), reader.GetFileNum());
        for (int record = 0; record < reader.GetFileNum(); ++record) {
            CString const name = reader.GetAttachListElement(record, AttachWriter::element_name);
            EXPECT_EQ(1, reader.DecodeAttachDataToWorkDir(name));
            EXPECT_EQ(Bytes(sizes[record]), place.Content(work + name));
        }
        RemoveDirectoryCompel(place.Path("MAIL\\12"), 1);
    }
    std::string const large = Bytes(50 << 20);
    AttachWriter writer;
    Bind(writer, 5);
    EXPECT_TRUE(place.Put("MAIL\\ATEMP\\大.bin", large));
    EXPECT_EQ(1, writer.EncodeTempDataToDataDir("大.bin", 1));  // from the root work folder
    EXPECT_EQ(1, writer.DecodeAttachDataToWorkDir("大.bin"));
    EXPECT_TRUE(large == place.Content("MAIL\\ATEMP\\pc\\大.bin"));
}

TEST_F(AttachWriterTest, AsksForAllThatItNeeds) {
    AttachWriter writer;
    EXPECT_EQ(0, writer.SetVersion(2) + writer.SetVersion(6) + writer.SetMailID(-2));
    EXPECT_EQ(2, writer.SetEnvManager(&place.env) + writer.SetEnvManager(&place.env) + writer.SetMailID(12));
    EXPECT_EQ(0, writer.LoadAttachList(nullptr));
    EXPECT_EQ(1, writer.SetVersion(5));
    EXPECT_EQ("", writer.GetFolderPathForAttachFileTemporary());  // no terminal yet
    EXPECT_EQ(0, writer.LoadAttachList(nullptr) + writer.InitAttachListAndData() + writer.SaveAttachList());
    EXPECT_EQ(1, writer.SetTermType(sb) + writer.SetTermType(static_cast<TermType>(5)));
    EXPECT_EQ(place.Path("MAIL\\ATEMP\\sb\\"), writer.GetFolderPathForAttachFileTemporary());
    EXPECT_EQ(1, writer.LoadAttachList(nullptr));
    EXPECT_EQ(0, writer.SetAttachListRecordToMemory("a", ""));
    EXPECT_EQ(1, writer.SetMailID(-1));
    EXPECT_EQ(0, writer.GetFileNum());
    ExpectFails(writer, attach_bad_mail_id_set, writer.SaveAttachList());
}

TEST_F(AttachWriterTest, NoNameLeadsOutOfItsFolder) {
    AttachWriter writer;
    Bind(writer, 5);
    EXPECT_TRUE(place.Put("MAIL\\ATEMP\\a", "x"));
    EXPECT_EQ(1, writer.EncodeTempDataToDataDir("a", 1));
    EXPECT_TRUE(place.Put("MAIL\\12\\ATTACH\\a.base64", "QUJD"));
    for (char const* name : {"", ".", "..", "..\\a", "../a", "C:a", "pc\\..\\..\\a", "..\x81/a", "a\n"}) {
        ExpectFails(writer, attach_file_read_failed, writer.EncodeTempDataToDataDir(name, 0));
        EXPECT_EQ(0, writer.DecodeAttachDataToWorkDir(name)) << name;
        EXPECT_EQ(0, writer.SetAttachListRecordToMemory(name, "")) << name;
        ExpectFails(writer, attach_file_missing, writer.CheckAllFile());
        EXPECT_EQ(1, writer.InitAttachListAndData());
    }
    EXPECT_TRUE(place.Has("MAIL\\12\\ATTACH\\a.base64"));
    EXPECT_EQ("x", place.Content("MAIL\\ATEMP\\a"));
}

TEST_F(AttachWriterTest, FailuresLeaveTheirNumber) {
    AttachWriter writer;
    Bind(writer, 4);
    EXPECT_TRUE(place.Put("MAIL\\ATEMP\\a", "x"));
    EXPECT_TRUE(place.Put("MAIL\\ATEMP\\b", "x"));
    MakeDirectoryCompel(place.Path("MAIL\\12\\ATTACH\\b.base64"));
    ExpectFails(writer, attach_file_write_failed, writer.EncodeTempDataToDataDir("b", 0));
    ExpectFails(writer, attach_file_read_failed, writer.EncodeTempDataToDataDir("なし", 0));
    ExpectFails(writer, 0, writer.DecodeAttachDataToWorkDir("なし"));
    EXPECT_EQ(1, writer.EncodeTempDataToDataDir("a", 0) + writer.SetAttachListRecordToMemory("a", "1"));
    ExpectFails(writer, attach_list_missing, writer.GetAttachListElement(1, 7).GetLength());
    ExpectFails(writer, attach_bad_element_number, writer.GetAttachListElement(0, 2).GetLength());
    // A list written to another file still counts as unsaved.
    EXPECT_EQ(1, writer.WriteFromMemoryToFileAppointFileName(place.Path("copy.dat")));
    EXPECT_EQ(1, writer.SaveAttachList());
    EXPECT_EQ(place.Content("copy.dat"), place.Content("MAIL\\12\\attc12.dat"));

    EXPECT_TRUE(place.Block("MAIL\\ATEMP\\a"));
    ExpectFails(writer, attach_file_write_failed, writer.DecodeAttachDataToWorkDir("a"));
    ClearDirectoryCompel(place.Path("MAIL\\ATEMP"));
    for (std::string const& damaged :
         {std::string("QUJ*"), std::string("QUJDRA"), std::string("QUJD\0\0\0\0", 8), std::string(8, '\0')}) {
        EXPECT_TRUE(place.Put("MAIL\\12\\ATTACH\\a.base64", damaged));
        ExpectFails(writer, attach_file_format, writer.DecodeAttachDataToWorkDir("a"));
        EXPECT_FALSE(place.Has("MAIL\\ATEMP\\a"));
    }

    for (char const* damaged : {"\"a\",\"1\"\r\n\"b\"\r\n", "\"a\"\r\n", "\"a\",\"1\",\"2\"\r\n"}) {
        EXPECT_TRUE(WriteTable(place.Path("MAIL\\12\\attc12.dat"), damaged, place.env.GetDBKey()));
        ExpectFails(writer, attach_list_format, writer.LoadAttachList(nullptr));
        EXPECT_EQ(0, writer.GetFileNum());
        EXPECT_EQ(0, writer.SetAttachListRecordToMemory("a", ""));  // the list can be made anew
    }
    // Without the environment's own row there is no key, and nothing may be read or written.
    std::string const before = place.Content("MAIL\\12\\attc12.dat");
    platform::RemoveFile(place.file);
    ExpectFails(writer, attach_list_write_failed, writer.SaveAttachList());
    ExpectFails(writer, attach_list_format, writer.LoadAttachList(nullptr));
    EXPECT_EQ(before, place.Content("MAIL\\12\\attc12.dat"));
}

}  // namespace
