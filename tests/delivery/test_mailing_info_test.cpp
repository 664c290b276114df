#include "tessaly/delivery/test_mailing_info.h"

#include "tests/customers/customer_fixture.h"
#include "tests/support/file_content.h"
#include "tests/support/message_boxes.h"

namespace {

class TestMailingInfoTest : public CustomerTest {
  protected:
    void Put(std::string const& plain) const { WriteTable(path, plain, key); }
    std::string OnDisk() const { return TableContentOf(path, key); }
    static std::string Record(int columns, std::string const& id) {
        std::string record = '"' + id + '"';
        for (int column = 1; column < columns; ++column) record += ",\"x\"";
        return record + "\r\n";
    }

    CString const key = env.GetDBKey();
    CString const path = env.DataPath("DB\\testmailinginfo.dat");
    CTestMailingInfo testers;
};

TEST_F(TestMailingInfoTest, BindingReadsTheFileOrMakesIt) {
    EXPECT_EQ(-101, testers.ReadFromFileToMemory(nullptr, 0, nullptr));
    EXPECT_EQ(0, testers.SetEnvManager(nullptr));
    std::tuple<std::string, int, int> const rows[] = {
        {Record(56, "3") + Record(56, "-1"), 1, 2}, {Record(55, "3"), 0, 0}, {"\r\n", 0, 0}, {"", 1, 0}};
    for (auto const& [plain, bound, count] : rows) {
        Put(plain);
        CTestMailingInfo fresh;
        EXPECT_EQ(bound, fresh.SetEnvManager(&env));
        EXPECT_EQ(bound ? &env : nullptr, fresh.GetEnvManager());
        EXPECT_EQ(count, fresh.GetLineNumber());
    }
    platform::RemoveFile(path);
    EXPECT_EQ(1, testers.SetEnvManager(&env));
    EXPECT_EQ(0, testers.SetEnvManager(&env));
    EXPECT_EQ("", ContentOf(path));
    EXPECT_EQ(CMyDB::db_no_directory, testers.ReadFromFileToMemory(folder.Path("none\\t.dat"), 0, nullptr));
    CString const other = folder.Path("other.dat");
    // The environment's key is random, and a table under another one can by chance look sound.
    int refused = 0;
    for (char const* other_key : {"a", "b", "c", "d", "e", "f", "g", static_cast<char const*>(nullptr)}) {
        WriteTable(other, Record(56, "5"), other_key);
        EXPECT_EQ(1, testers.ReadFromFileToMemory(other, 1, other_key));
        refused += testers.ReadFromFileToMemory(other, 0, other_key) < 0;
    }
    EXPECT_GE(refused, 5);
    MessageBoxes const boxes;
    EXPECT_THROW(CTestMailingInfo(nullptr, &option), CUserException);
    EXPECT_THROW(CTestMailingInfo(&env, nullptr), CUserException);
    for (std::size_t const box : {0, 1}) {
        testers.GetErrMsg().SetErr(box == 0 ? 10002 : 10004);
        EXPECT_EQ(testers.GetErrMsg().GetLastMsg(), boxes.Texts().at(box));
    }
}

TEST_F(TestMailingInfoTest, KeyRule) {
    EnvManager plain;
    ASSERT_EQ(0, plain.InitEnvFileInfo(env_path, nullptr, 0));
    WriteTable(path, Record(56, "3"));
    CTestMailingInfo unscrambled(&plain, &option);
    EXPECT_EQ(1, unscrambled.GetLineNumber());
    OneCustomer tester;
    EXPECT_EQ(0, unscrambled.SetTestMailingInfo(tester, 4));
    EXPECT_EQ(0, unscrambled.WriteFromMemoryToFile());
    EXPECT_EQ(0U, TableContentOf(path).find(Record(56, "3") + "\"4\""));

    Put("");
    ASSERT_EQ(1, testers.SetEnvManager(&env));
    testers.SetTestMailingInfo(tester, 1);
    WriteTable(env_path, "\"broken\",\"2004/01/03 00:00:00\",\"2004/01/03 00:00:00\"\r\n", "application");
    EXPECT_EQ(-11, testers.WriteFromMemoryToFile());
    EXPECT_EQ(10204, testers.GetErrMsg().GetLastCode());
    EXPECT_EQ("", OnDisk());
    EXPECT_EQ(CMyDB::db_bad_format, testers.ReadFromFileToMemory(nullptr, 0, nullptr));
}

TEST_F(TestMailingInfoTest, AKeyHasOneRowAndTimesMoveOn) {
    ASSERT_EQ(1, testers.SetEnvManager(&env));
    OneCustomer tester;
    EXPECT_EQ(0, testers.GetTestMailingInfo(tester, -5));
    EXPECT_EQ(-5, tester.CustomerID);
    EXPECT_EQ("Y", tester.DMOk);
    tester.Email = "t@example.jp";
    tester.Birthday = "2001/02/03 04:05:06 and more";
    tester.ZipCode1 = "-100-0001";
    tester.DMOk = "NO";
    tester.ExtraT = "属性";
    tester.DeleteFlag = "Y";
    tester.EntryDate = COleDateTime(1999, 1, 2, 3, 4, 5);
    EXPECT_EQ(0, testers.SetTestMailingInfo(tester, -5));
    Advance();
    EXPECT_EQ(0, testers.SetTestMailingInfo(tester, 8));
    EXPECT_EQ(0, testers.SetTestMailingInfo(tester, -5));
    EXPECT_EQ(2, testers.GetLineNumber());
    std::pair<int, char const*> const cells[] = {
        {0, "-5"}, {1, "t@example.jp"},         {9, "1000001"},   {47, "属性"},
        {53, ""},  {54, "1999/01/02 03:04:05"}, {55, later_text},
    };
    for (auto const& [column, text] : cells) EXPECT_EQ(text, testers.GetAtElement(0, column)) << column;
    EXPECT_EQ(later_text, testers.GetAtElement(1, 54));  // a new row's own
    OneCustomer read;
    EXPECT_EQ(1, testers.GetTestMailingInfo(read, -5));
    EXPECT_EQ(-5, read.CustomerID);
    EXPECT_EQ("2001/02/03 04:05:06", read.Birthday);
    EXPECT_EQ("N", read.DMOk);
    EXPECT_EQ(tester.EntryDate, read.EntryDate);

    EXPECT_EQ(0, testers.WriteFromMemoryToFileAppointFileName(folder.Path("copy.dat"), nullptr));
    EXPECT_EQ(-1, testers.WriteFromMemoryToFileAppointFileName(folder.Path("none\\copy.dat"), nullptr));
    EXPECT_EQ("", OnDisk());
    EXPECT_EQ(0, testers.WriteFromMemoryToFile());
    EXPECT_EQ(TableContentOf(folder.Path("copy.dat")), OnDisk());
    CTestMailingInfo again(&env, &option);
    EXPECT_EQ(1, again.GetTestMailingInfo(read, 8));

    for (int const element : {-1, 56}) EXPECT_EQ(-2, testers.SetElementTestMailingInfoTemp("x", element));
    EXPECT_EQ(10005, testers.GetErrMsg().GetLastCode());
    EXPECT_EQ(0, testers.SetElementTestMailingInfoTemp("x", 55));
    testers.Init();  // a table without columns takes no row
    EXPECT_EQ(-10, testers.SetTestMailingInfo(tester, 1));
    EXPECT_EQ(10010, testers.GetErrMsg().GetLastCode());
}

}  // namespace
