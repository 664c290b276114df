#include "mailstore/attach_writer.h"

#include <gtest/gtest.h>

#include <vector>

#include "storage/error_codes.h"
#include "tests/mailstore/mail_environment.h"
#include "text/directories.h"

namespace {

constexpr int mail = 12;

class AttachWriterTest : public testing::Test {
  protected:
    AttachWriterTest() {
        for (char const* below : {"MAIL\\ATEMP\\pc", "MAIL\\ATEMP\\sb"})
            MakeDirectoryCompel(place.Path(below));
    }
    void Bind(AttachWriter& writer, int version, TermType term = pc) {
        EXPECT_EQ(1, writer.SetEnvManager(&place.env));
        EXPECT_EQ(1, writer.SetVersion(version));
        EXPECT_EQ(1, writer.SetMailID(mail));
        EXPECT_EQ(1, writer.SetTermType(term));
    }
    static int LastError(AttachWriter& writer) { return writer.GetErrMsg().GetLastCode(); }

    MailEnvironment place;
};

// Every byte value, in an order that no period of the encoding meets.
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
    const std::vector<std::size_t> sizes = {0, 1, 2, 3, 56, 57, 58, 114, 3072, 3073, 100000};
    for (auto const& [version, term, work, list, body] : formats) {
        SCOPED_TRACE(testing::Message() << version << ' ' << term);
        MakeDirectoryCompel(place.Path(work));  // gone with the writer before, which emptied the one above it
        AttachWriter writer;
        Bind(writer, version, term);
        EXPECT_EQ(place.Path(work), writer.GetFolderPathForAttachFileTemporary());
        for (std::size_t const size : sizes) {
            CString name;
            name.Format("見積,表ソ \"%d\".xls", static_cast<int>(size));  // 表 and ソ end in a backslash
            EXPECT_TRUE(place.Put(work + name, Bytes(size)));
            EXPECT_EQ(1, writer.EncodeTempDataToDataDir(name, 0)) << size;
            EXPECT_EQ(0, writer.SetAttachListRecordToMemory(name, "種類"));
            const std::string stored = place.Content(body + name + ".base64");
            const std::size_t characters = (size + 2) / 3 * 4;
            EXPECT_EQ(characters + characters / 76 * 2, stored.size());
            EXPECT_TRUE(size < 57 || stored.substr(76, 2) == "\r\n");
            CString text;
            EXPECT_EQ(1, writer.GetAttachDataString(name, text));
            EXPECT_EQ(stored, text.View());
        }
        EXPECT_EQ(1, writer.SaveAttachList());
        const CString key = place.env.GetDBKey();
        EXPECT_NE(std::string::npos,
                  TableContentOf(place.Path(list), version == 3 ? nullptr : static_cast<char const*>(key))
                      .find("\"種類\""));

        AttachWriter reader;
        Bind(reader, version, term);
        ClearDirectoryCompel(place.Path(work));
        EXPECT_EQ(1, reader.LoadAttachList(nullptr));
        EXPECT_EQ(1, reader.CheckAllFile());
        ASSERT_EQ(static_cast<int>(sizes.size()), reader.GetFileNum());
        for (int record = 0; record < reader.GetFileNum(); ++record) {
            const CString name = reader.GetAttachListElement(record, AttachWriter::element_name);
            EXPECT_EQ("種類", reader.GetAttachListElement(record, AttachWriter::element_info));
            EXPECT_EQ(1, reader.DecodeAttachDataToWorkDir(name));
            EXPECT_EQ(Bytes(sizes[static_cast<std::size_t>(record)]), place.Content(work + name));
        }
        RemoveDirectoryCompel(place.Path("MAIL\\12"), 1);
    }
}

TEST_F(AttachWriterTest, FiftyMegabytesComeBack) {
    const std::string content = Bytes(50 << 20);
    EXPECT_TRUE(place.Put("MAIL\\ATEMP\\大.bin", content));
    AttachWriter writer;
    Bind(writer, 5);
    EXPECT_EQ(1, writer.EncodeTempDataToDataDir("大.bin", 1));  // from the root work folder
    EXPECT_EQ(1, writer.DecodeAttachDataToWorkDir("大.bin"));
    EXPECT_TRUE(content == place.Content("MAIL\\ATEMP\\pc\\大.bin"));
}

TEST_F(AttachWriterTest, AsksForAllThatItNeeds) {
    AttachWriter writer;
    CString text;
    EXPECT_EQ(0, writer.SetEnvManager(nullptr));
    EXPECT_EQ(0, writer.SetVersion(2) + writer.SetVersion(6) + writer.SetMailID(-2));
    EXPECT_EQ(0,
              writer.SetTermType(static_cast<TermType>(5)) + writer.SetTermType(static_cast<TermType>(-1)));
    EXPECT_EQ(1, writer.SetEnvManager(&place.env));
    EXPECT_EQ(0, writer.SetEnvManager(&place.env));
    EXPECT_TRUE(writer.GetFolderPathForAttachFileTemporary().IsEmpty());
    EXPECT_EQ(1, writer.SetVersion(5));
    EXPECT_EQ(1, writer.SetMailID(mail));
    EXPECT_TRUE(writer.GetFolderPathForAttachFileTemporary().IsEmpty());  // no terminal yet
    EXPECT_EQ(0, writer.LoadAttachList(nullptr) + writer.InitAttachListAndData() + writer.SaveAttachList() +
                     writer.GetAttachDataString("a", text) + writer.DecodeAttachDataToWorkDir("a"));
    EXPECT_EQ(1, writer.SetTermType(sb));
    EXPECT_EQ(0, writer.SetTermType(static_cast<TermType>(5)));
    EXPECT_EQ(place.Path("MAIL\\ATEMP\\sb\\"), writer.GetFolderPathForAttachFileTemporary());
    EXPECT_EQ(1, writer.LoadAttachList(nullptr));
    EXPECT_EQ(0, writer.GetFileNum());

    EXPECT_EQ(0, writer.SetAttachListRecordToMemory("a", ""));
    EXPECT_EQ(1, writer.SetMailID(-1));
    EXPECT_EQ(0, writer.GetFileNum());
    EXPECT_EQ(1, writer.LoadAttachList(nullptr));
    EXPECT_EQ(0, writer.SaveAttachList());
    EXPECT_EQ(attach_bad_mail_id_set, LastError(writer));
    EXPECT_TRUE(place.Put("MAIL\\ATEMP\\sb\\a", "x"));
    EXPECT_EQ(0, writer.EncodeTempDataToDataDir("a", 0));  // a new mail has no folder
    EXPECT_EQ(attach_file_write_failed, LastError(writer));
}

TEST_F(AttachWriterTest, NoNameLeadsOutOfItsFolder) {
    AttachWriter writer;
    Bind(writer, 5);
    writer.LoadAttachList(nullptr);
    EXPECT_TRUE(place.Put("MAIL\\ATEMP\\a", "x"));
    EXPECT_EQ(1, writer.EncodeTempDataToDataDir("a", 1));
    EXPECT_TRUE(place.Put("MAIL\\12\\ATTACH\\a.base64", "QUJD"));
    for (char const* name : {"", ".", "..", "..\\a", "../a", "C:a", "C:\\a", "pc\\..\\..\\a", "\x81/../a",
                             "..\x81/..", "a\x01", "a\n"}) {
        EXPECT_EQ(0, writer.EncodeTempDataToDataDir(name, 0)) << name;
        EXPECT_EQ(attach_file_read_failed, LastError(writer)) << name;
        EXPECT_EQ(0, writer.DecodeAttachDataToWorkDir(name)) << name;
        EXPECT_EQ(0, writer.SetAttachListRecordToMemory(name, "")) << name;
        EXPECT_EQ(0, writer.CheckAllFile()) << name;
        EXPECT_EQ(1, writer.InitAttachListAndData()) << name;
    }
    EXPECT_TRUE(place.Has("MAIL\\12\\ATTACH\\a.base64"));
    EXPECT_EQ("x", place.Content("MAIL\\ATEMP\\a"));
}

TEST_F(AttachWriterTest, DamagedTextsGiveNoFile) {
    AttachWriter writer;
    Bind(writer, 4);
    MakeDirectoryCompel(place.Path("MAIL\\12\\ATTACH"));
    for (std::string const& damaged :
         {std::string("QUJ*"), std::string("QUJDRA"), std::string("QUJ\x83"), std::string("=AAA"),
          std::string("QUJD\0\0\0\0", 8), std::string(8, '\0')}) {
        EXPECT_TRUE(place.Put("MAIL\\12\\ATTACH\\a.base64", damaged));
        writer.GetErrMsg().Clear();
        EXPECT_EQ(0, writer.DecodeAttachDataToWorkDir("a")) << damaged;
        EXPECT_EQ(attach_file_format, LastError(writer)) << damaged;
        EXPECT_FALSE(place.Has("MAIL\\ATEMP\\a"));
    }
    for (auto const& [text, content] : {std::pair("", ""), {"\r\n", ""}, {"QU\r\nJD\n", "ABC"}}) {
        EXPECT_TRUE(place.Put("MAIL\\12\\ATTACH\\a.base64", text));
        EXPECT_EQ(1, writer.DecodeAttachDataToWorkDir("a"));
        EXPECT_EQ(content, place.Content("MAIL\\ATEMP\\a"));
    }
}

TEST_F(AttachWriterTest, FailuresLeaveTheirNumber) {
    AttachWriter writer;
    Bind(writer, 4);
    auto const expect = [&](int code, auto operation) {
        EXPECT_EQ(0, operation()) << code;
        EXPECT_EQ(code, LastError(writer));
    };
    expect(attach_file_read_failed, [&] { return writer.EncodeTempDataToDataDir("なし.txt", 0); });
    EXPECT_EQ(0, writer.DecodeAttachDataToWorkDir("なし.txt"));
    EXPECT_TRUE(place.Put("MAIL\\ATEMP\\a", "x"));
    EXPECT_EQ(1, writer.EncodeTempDataToDataDir("a", 0));
    EXPECT_EQ(0, writer.SetAttachListRecordToMemory("a", "1"));
    EXPECT_TRUE(writer.GetAttachListElement(1, 7).IsEmpty());
    EXPECT_EQ(attach_list_missing, LastError(writer));
    EXPECT_TRUE(writer.GetAttachListElement(0, 2).IsEmpty());
    EXPECT_EQ(attach_bad_element_number, LastError(writer));

    // A list written elsewhere stays unsaved at home.
    EXPECT_EQ(1, writer.WriteFromMemoryToFileAppointFileName(place.Path("copy.dat")));
    EXPECT_FALSE(place.Has("MAIL\\12\\attc12.dat"));
    EXPECT_EQ(1, writer.SaveAttachList());
    EXPECT_EQ(place.Content("copy.dat"), place.Content("MAIL\\12\\attc12.dat"));
    expect(attach_list_write_failed,
           [&] { return writer.WriteFromMemoryToFileAppointFileName(place.Path("no\\copy.dat")); });

    EXPECT_TRUE(place.Block("MAIL\\ATEMP\\a"));
    expect(attach_file_write_failed, [&] { return writer.DecodeAttachDataToWorkDir("a"); });
    EXPECT_TRUE(place.Block("MAIL\\12\\ATTACH\\b.base64"));
    EXPECT_TRUE(place.Put("MAIL\\ATEMP\\b", "x"));
    expect(attach_file_write_failed, [&] { return writer.EncodeTempDataToDataDir("b", 0); });
    EXPECT_TRUE(platform::RemoveFile(place.Path("MAIL\\12\\ATTACH\\a.base64")));
    expect(attach_file_missing, [&] { return writer.CheckAllFile(); });

    for (char const* damaged : {"\"a\",\"1\"\r\n\"b\"\r\n", "\"a\"\r\n", "\"a\",\"1\",\"2\"\r\n"}) {
        EXPECT_TRUE(WriteTable(place.Path("MAIL\\12\\attc12.dat"), damaged, place.env.GetDBKey()));
        expect(attach_list_format, [&] { return writer.LoadAttachList(nullptr); });
        EXPECT_EQ(0, writer.GetFileNum());
        EXPECT_EQ(0, writer.SetAttachListRecordToMemory("a", ""));  // the list can be made anew
    }
    EXPECT_TRUE(place.Block("MAIL\\12\\attc12.dat"));
    expect(attach_list_write_failed, [&] { return writer.SaveAttachList(); });
    // Without the environment's own row there is no key, and nothing may be read or written.
    EXPECT_TRUE(platform::RemoveDirectory(place.Path("MAIL\\12\\attc12.dat")));
    platform::RemoveFile(place.file);
    expect(attach_list_write_failed, [&] { return writer.SaveAttachList(); });
    expect(attach_list_format, [&] { return writer.LoadAttachList(nullptr); });
    EXPECT_FALSE(place.Has("MAIL\\12\\attc12.dat"));
}

TEST_F(AttachWriterTest, TheWorkFolderGoesWithTheWriterUnlessItIsKept) {
    for (int const flag : {0, 1}) {
        EXPECT_TRUE(place.Put("MAIL\\ATEMP\\pc\\a", "x"));
        EXPECT_TRUE(place.Put("MAIL\\ATEMP\\sb\\a", "x"));
        {
            AttachWriter writer;
            Bind(writer, 5, sb);
            writer.SetFlagForDeleteFileInTemp(flag);
        }
        EXPECT_EQ(flag == 0, place.Has("MAIL\\ATEMP\\sb\\a"));
        EXPECT_TRUE(place.Has("MAIL\\ATEMP\\pc\\a"));
    }
}

TEST_F(AttachWriterTest, Base64ForMailThatGoesOut) {
    const std::string line = std::string(76, 'A') + "\r\n";
    struct {
        int size;
        std::string text;
    } const cases[] = {{0, "\r\n"},
                       {1, "AA==\r\n"},
                       {56, std::string(75, 'A') + "=\r\n"},
                       {57, line},
                       {58, line + "AA==\r\n"},
                       {114, line + line},
                       {115, line + line + "AA==\r\n"}};
    for (auto const& [size, text] : cases) {
        EXPECT_TRUE(place.Put("a", std::string(static_cast<std::size_t>(size), '\0')));
        EXPECT_EQ(text, AttachWriter::GetBase64EncodedStringForFile(place.Path("a")).View()) << size;
    }
    EXPECT_TRUE(AttachWriter::GetBase64EncodedStringForFile(place.Path("none")).IsEmpty());
}

}  // namespace
