#include "customers/extract/extract_result_detail.h"

#include <algorithm>
#include <utility>

#include "customers/extract/extract_list_viewer.h"
#include "mailstore/mail_list_viewer.h"
#include "mailstore/one_mail_data.h"
#include "tests/customers/customer_fixture.h"
#include "tests/support/file_content.h"
#include "tests/support/message_boxes.h"

namespace {

constexpr int mail_id = 7;
constexpr int list_id = 3;
constexpr int refuser = 6;
constexpr int customers = 8;  // IDs 0 to 7
constexpr int unknown = 99;

std::string Lines(std::vector<int> const& ids) {
    std::string text;
    for (int const id : ids) text += '"' + std::to_string(id) + "\"\r\n";
    return text;
}

class ExtractResultTest : public CustomerTest {
  protected:
    ExtractResultTest() {
        for (char const* below : {"EXTRACT", "MAIL", "MAIL\\7"}) platform::MakeDirectory(env.DataPath(below));
        platform::WriteWholeFile(env.DataPath("MAIL\\maillist.dat"), "");
        list.SetMailListViewer(&mails);
        list.SetExtractListViewer(&lists);
        list.SetDatabaseEdit(&db);  // which has the environment already
        EXPECT_EQ(1, list.SetEnvManager(&env));
        COneMailData mail;
        mail.SetMailID(mail_id);
        EXPECT_EQ(0, mails.SetMailData(mail));
        ExtractViewData group;
        group.ExtractID = list_id;
        group.Name = "常連";
        EXPECT_EQ(1, lists.InsertExtractList(group));
        for (int id = 0; id < customers; ++id) EXPECT_EQ(id, Add("a@example.jp", std::to_string(id).c_str()));
        OneCustomer customer;
        db.GetOneCustomerForEdit(customer, refuser);
        customer.DMOk = "N";
        db.SetOneCustomerInfo(customer, 0);
        EXPECT_EQ(0, list.SetTypeAndID(er_mail, mail_id));
    }

    int Code() { return list.GetErrMsg().GetLastCode(); }
    std::vector<int> IDs() {
        CList<int, int> ids;
        EXPECT_EQ(0, list.GetDBIDToCListInt(ids, 0));
        return Vector(ids);
    }
    static std::vector<int> Vector(CList<int, int>& list) {
        std::vector<int> ids;
        for (POSITION place = list.GetHeadPosition(); place;) ids.push_back(list.GetNext(place));
        return ids;
    }
    static int Set(ExtractResultDetail& result, std::vector<int> const& ids, int check, int sort) {
        CList<int, int> given;
        for (int const id : ids) given.AddTail(id);
        return result.SetDBIDFromCListInt(given, check, sort);
    }
    void Put(std::string const& plain) const { WriteTable(path, plain, env_key); }
    std::string OnDisk(CString const& file) const { return TableContentOf(file, env_key); }
    std::string OnDisk() const { return OnDisk(path); }

    CMailListViewer mails;
    ExtractListViewer lists;
    ExtractResultDetail list;
    const CString path = env.DataPath("MAIL\\7\\meli7.dat");
    const CString env_key = env.GetDBKey();
};

TEST_F(ExtractResultTest, EverythingIsBoundAndAimedFirst) {
    ExtractResultDetail bare;
    CList<int, int> ids;
    CArray<ERDetailPlusDB, ERDetailPlusDB> entries;
    auto const expect_all = [&](int add, int remove, int get, int load, int write, int write_new) {
        EXPECT_EQ(add, bare.AddDBID(0));
        EXPECT_EQ(add, bare.GetIDPlusDBDataFromDBFile(entries, 0, 0));
        EXPECT_EQ(remove, bare.RemoveDBID(0));
        EXPECT_EQ(remove, bare.ALLRemoveDBID());
        EXPECT_EQ(get, bare.GetDBIDToCListInt(ids, 0));
        EXPECT_EQ(load, bare.GetDBIDListFromFileToMemory(0, nullptr));
        EXPECT_EQ(write, bare.WriteAllOnMemoryDBIDToFile());
        EXPECT_EQ(write, bare.WriteAllOnMemoryDBIDToFileCompel());
        EXPECT_EQ(write_new, bare.WriteAllOnMemoryDBIDToFileNew(1));
    };
    expect_all(-4, -4, -4, -4, -4, -4);
    EXPECT_EQ(-4, Set(bare, {}, 0, 1));
    EXPECT_EQ(-4, bare.GetAllDBIDWithoutDeleteFromDBToCListInt(ids));
    EXPECT_EQ(-4, bare.SetTypeAndID(er_mail, mail_id));
    EXPECT_EQ(3004, bare.GetErrMsg().GetLastCode());
    EXPECT_EQ(0, bare.SetEnvManager(nullptr));
    EXPECT_EQ(1, bare.SetEnvManager(&env));
    EXPECT_EQ(0, bare.SetEnvManager(&env));
    EXPECT_EQ(-4, bare.SetTypeAndID(er_mail, -1));
    EXPECT_EQ(-4, bare.SetTypeAndID(er_list, -1));
    EXPECT_EQ(1, bare.SetExtractListViewer(nullptr));
    EXPECT_EQ(1, bare.SetExtractListViewer(&lists));
    EXPECT_EQ(0, bare.SetExtractListViewer(&lists));
    EXPECT_EQ(0, bare.SetMailListViewer(nullptr));
    EXPECT_EQ(1, bare.SetMailListViewer(&mails));
    EXPECT_EQ(1, bare.SetDatabaseEdit(&db));
    expect_all(-5, -5, -6, -5, -5, -8);
    EXPECT_EQ(-13, Set(bare, {unknown}, 1, 0));
    EXPECT_EQ(-5, Set(bare, {0}, 1, 0));

    const struct {
        ERTYPE type;
        int id, result, code;
    } targets[] = {
        {er_mail, -1, -1, 3001}, {er_mail, 8, -2, 3002},    {er_list, 8, -3, 3003},
        {er_list, -2, -3, 3003}, {er_not_set, 1, -6, 3006},
    };
    for (auto const& target : targets) {
        EXPECT_EQ(target.result, bare.SetTypeAndID(target.type, target.id));
        EXPECT_EQ(target.code, bare.GetErrMsg().GetLastCode());
    }
    EXPECT_EQ(-5, bare.ALLRemoveDBID());
    EXPECT_EQ(0, bare.SetTypeAndID(er_list, -1));
    EXPECT_EQ(-5, bare.GetDBIDListFromFileToMemory(0, nullptr));
    EXPECT_EQ(-3, bare.ExtractDBID2RowNumber(0));
}

TEST_F(ExtractResultTest, RefusedConstructionIsShownAndRaised) {
    const MessageBoxes boxes;
    EXPECT_THROW(ExtractResultDetail(&env, nullptr, &lists, &db), CUserException);
    EXPECT_THROW(ExtractResultDetail(&env, &mails, &lists, &db, er_mail, 8), CUserException);
    EXPECT_THROW(ExtractResultDetail(&env, &mails, nullptr, &db, er_list, list_id), CUserException);
    CErrMsg expected;
    std::vector<std::string> texts;
    for (int const code : {3007, 3002, 3004}) {
        expected.SetErr(code);
        texts.emplace_back(expected.GetLastMsg());
    }
    EXPECT_EQ(texts, boxes.Texts());
    ExtractResultDetail good(&env, &mails, nullptr, &db, er_mail, mail_id);
    EXPECT_EQ(1, good.AddDBID(5));
}

TEST_F(ExtractResultTest, NoIDEntersTwiceAndNoRefuserAtAll) {
    Put(Lines({5, 2}) + "\"007\"\r\n");
    ASSERT_EQ(0, list.GetDBIDListFromFileToMemory(0, nullptr));
    const struct {
        int id, result, code;
    } additions[] = {{5, 3, 0}, {7, 3, 0}, {refuser, 3, 0}, {0, 4, 0}, {0, 4, 0}, {unknown, -13, 3103}};
    for (auto const& row : additions) {
        EXPECT_EQ(row.result, list.AddDBID(row.id)) << row.id;
        EXPECT_EQ(row.code, Code());
    }
    EXPECT_EQ(3, list.RemoveDBID(5));
    EXPECT_EQ(-14, list.RemoveDBID(5));
    EXPECT_EQ(3104, Code());
    EXPECT_EQ(-1, list.ExtractDBID2RowNumber(5));
    EXPECT_EQ(4, list.AddDBID(5));
    EXPECT_EQ((std::vector{2, 7, 0, 5}), IDs());
    EXPECT_EQ(0, list.ALLRemoveDBID());
    EXPECT_EQ(1, list.AddDBID(2));
    // What was added and never saved is forgotten by a new load.
    ASSERT_EQ(0, list.GetDBIDListFromFileToMemory(0, nullptr));
    EXPECT_EQ(4, list.AddDBID(0));
}

TEST_F(ExtractResultTest, ListsMakeAUnionAndAreCheckedAsAWhole) {
    EXPECT_EQ(-13, Set(list, {4, 1, unknown}, 1, 1));
    EXPECT_EQ(0, list.GetRecordNumber());
    EXPECT_EQ(-13, Set(list, {4, 1, unknown, 2}, 0, 1));
    EXPECT_EQ((std::vector{4, 1}), IDs());
    EXPECT_EQ(0, Set(list, {3, 4, refuser, 0, 3}, 1, 0));
    EXPECT_EQ((std::vector{4, 1, 3, 0}), IDs());
    EXPECT_EQ(0, Set(list, {}, 1, 1));
    EXPECT_EQ((std::vector{0, 1, 3, 4}), IDs());

    Put("\"1\"\r\n\"007\"\r\n\"99\"\r\n");
    ASSERT_EQ(0, list.GetDBIDListFromFileToMemory(0, nullptr));
    CList<int, int> ids;
    EXPECT_EQ(-13, list.GetDBIDToCListInt(ids, 1));
    EXPECT_TRUE(ids.IsEmpty());
    list.SortByDBID();
    EXPECT_EQ(0, list.WriteAllOnMemoryDBIDToFile());
    EXPECT_EQ(Lines({1, 7, 99}), OnDisk());

    db.DeleteCustomer(1);
    EXPECT_EQ(customers - 1, list.GetAllDBIDWithoutDeleteFromDBToCListInt(ids));
    EXPECT_EQ((std::vector{0, 2, 3, 4, 5, 6, 7}), Vector(ids));
}

TEST_F(ExtractResultTest, LoadTellsWhatIsWrongWithTheFile) {
    const struct {
        std::string plain;
        int result, code;
        std::vector<int> ids;
    } rows[] = {
        {"(no file)", -31, 3201, {}},
        {"", -32, 3202, {}},
        {Lines({1}) + "\"2\",\"3\"\r\n", -33, 3203, {1}},
        {"\r\n" + Lines({1}), -34, 3204, {}},
        {Lines({2, 1}), 0, 0, {2, 1}},
    };
    for (auto const& row : rows) {
        list.AddDBID(0);
        Put(row.plain);
        if (row.result == -31) platform::RemoveFile(path);
        list.GetErrMsg().Clear();
        EXPECT_EQ(row.result, list.GetDBIDListFromFileToMemory(0, nullptr));
        EXPECT_EQ(row.code, Code());
        EXPECT_EQ(row.ids, IDs());
    }
    WriteTable(path, Lines({4}), "other");
    EXPECT_EQ(0, list.GetDBIDListFromFileToMemory(1, "other"));
    EXPECT_EQ(std::vector{4}, IDs());
    mails.RemoveMailData(mail_id);
    EXPECT_EQ(-2, list.GetDBIDListFromFileToMemory(0, nullptr));
    EXPECT_EQ(-2, list.WriteAllOnMemoryDBIDToFileCompel());
    EXPECT_EQ(0, list.GetRecordNumber());
}

TEST_F(ExtractResultTest, WithoutItsKeyTheFileIsNeitherReadNorWritten) {
    Put(Lines({1}));
    const std::string before = ContentOf(path);
    ASSERT_EQ(0, list.GetDBIDListFromFileToMemory(0, nullptr));
    WriteTable(env_path, "\"broken\",\"2004/01/03 00:00:00\",\"2004/01/03 00:00:00\"\r\n", "application");
    EXPECT_EQ(-35, list.WriteAllOnMemoryDBIDToFileCompel());
    EXPECT_EQ(-33, list.GetDBIDListFromFileToMemory(0, nullptr));
    EXPECT_EQ(3203, Code());
    EXPECT_EQ(before, ContentOf(path));
}

TEST_F(ExtractResultTest, ViewDropsTheWiped) {
    for (int const id : {2, 3, 5}) ASSERT_EQ(0, db.PhysicalDeletion(id));
    db.DeleteCustomer(1);  // who still has her data
    const std::string unread = Lines({2, 0, 3, 1, 5, 4});
    const struct {
        int from, to;
        std::vector<int> shown, left;
    } rows[] = {
        {-1, 3, {0, 1, 4}, {0, 1, 4}},   {0, 1, {0, 1}, {0, 1, 5, 4}},   {0, 0, {0}, {0, 3, 1, 5, 4}},
        {3, 5, {1, 4}, {2, 0, 3, 1, 4}}, {4, 100, {4}, {2, 0, 3, 1, 4}}, {2, 1, {}, {2, 0, 3, 1, 5, 4}},
        {6, 9, {}, {2, 0, 3, 1, 5, 4}},  {-7, 0, {0}, {0, 3, 1, 5, 4}},  {-7, -2, {}, {2, 0, 3, 1, 5, 4}},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(&row - rows);
        Put(unread);
        ASSERT_EQ(0, list.GetDBIDListFromFileToMemory(0, nullptr));
        CArray<ERDetailPlusDB, ERDetailPlusDB> entries;
        EXPECT_EQ(static_cast<int>(row.shown.size()),
                  list.GetIDPlusDBDataFromDBFile(entries, row.from, row.to));
        std::vector<int> shown;
        for (ERDetailPlusDB const& entry : entries) shown.push_back(entry.CustomerID);
        EXPECT_EQ(row.shown, shown);
        EXPECT_EQ(row.left, IDs());
        EXPECT_EQ(Lines(row.left), OnDisk());
    }
    CArray<ERDetailPlusDB, ERDetailPlusDB> entries;
    Put(Lines({4}));
    ASSERT_EQ(0, list.GetDBIDListFromFileToMemory(0, nullptr));
    ASSERT_EQ(1, list.GetIDPlusDBDataFromDBFile(entries, -1, -1));
    EXPECT_EQ("4", entries[0].KanjiSei);
    EXPECT_EQ("a@example.jp", entries[0].Email);
    EXPECT_EQ("2004-05-06 07:08:09", entries[0].RenewalDate.Format("%Y-%m-%d %H:%M:%S"));
}

TEST_F(ExtractResultTest, ViewKeepsWhatItCouldNotFinish) {
    db.PhysicalDeletion(2);
    CArray<ERDetailPlusDB, ERDetailPlusDB> entries;
    Put(Lines({2, 0, unknown, 1}));
    ASSERT_EQ(0, list.GetDBIDListFromFileToMemory(0, nullptr));
    EXPECT_EQ(-13, list.GetIDPlusDBDataFromDBFile(entries, -1, -1));
    EXPECT_EQ(3103, Code());
    EXPECT_EQ(1, entries.GetSize());
    EXPECT_EQ(Lines({0, unknown, 1}), OnDisk());

    Put(Lines({2, 0}));
    ASSERT_EQ(0, list.GetDBIDListFromFileToMemory(0, nullptr));
    platform::FailWritesAfter(0);
    EXPECT_EQ(1, list.GetIDPlusDBDataFromDBFile(entries, -1, -1));
    platform::FailWritesAfter(-1);
    EXPECT_EQ(3205, Code());
    EXPECT_EQ(0, list.WriteAllOnMemoryDBIDToFile());
    EXPECT_EQ(Lines({0}), OnDisk());
    // The wiped one is no longer known either: her ID can come back with her data.
    OneCustomer back;
    db.GetOneCustomerForEdit(back, 2);
    back.DMOk = "Y";
    db.SetOneCustomerInfo(back, 0);
    EXPECT_EQ(2, list.AddDBID(2));
}

TEST_F(ExtractResultTest, WritersKeepWhatTheyCouldNotSave) {
    EXPECT_EQ(0, list.WriteAllOnMemoryDBIDToFile());
    EXPECT_FALSE(platform::Exists(path));
    ASSERT_EQ(0, Set(list, {3, 1}, 1, 0));
    const CString copy = folder.Path("copy.dat");
    EXPECT_EQ(0, list.WriteFromMemoryToFileAppointFileName(copy, "copy"));
    EXPECT_EQ(Lines({3, 1}), TableContentOf(copy, "copy"));
    EXPECT_EQ(-35, list.WriteFromMemoryToFileAppointFileName(folder.Path("none\\copy.dat"), nullptr));
    platform::FailWritesAfter(0);
    EXPECT_EQ(-35, list.WriteAllOnMemoryDBIDToFile());
    platform::FailWritesAfter(-1);
    EXPECT_EQ(3205, Code());
    EXPECT_EQ(0, list.WriteAllOnMemoryDBIDToFile());
    EXPECT_EQ(Lines({3, 1}), OnDisk());
    Put(Lines({5}));
    EXPECT_EQ(0, list.WriteAllOnMemoryDBIDToFile());
    EXPECT_EQ(Lines({5}), OnDisk());
    EXPECT_EQ(0, list.WriteAllOnMemoryDBIDToFileCompel());
    EXPECT_EQ(Lines({3, 1}), OnDisk());

    EXPECT_EQ(-8, list.WriteAllOnMemoryDBIDToFileNew(list_id));
    EXPECT_EQ(3008, Code());
    ASSERT_EQ(0, list.SetTypeAndID(er_list, -1));
    ASSERT_EQ(3, list.AddDBID(0));
    EXPECT_EQ(-5, list.WriteAllOnMemoryDBIDToFile());
    EXPECT_EQ(0, list.WriteAllOnMemoryDBIDToFileNew(list_id));
    EXPECT_EQ(Lines({3, 1, 0}), OnDisk(env.DataPath("EXTRACT\\exsl3.dat")));
    EXPECT_EQ(-5, list.WriteAllOnMemoryDBIDToFileCompel());
    ASSERT_EQ(0, list.SetTypeAndID(er_list, list_id));
    EXPECT_EQ(0, list.GetDBIDListFromFileToMemory(0, nullptr));
    EXPECT_EQ((std::vector{3, 1, 0}), IDs());
}

}  // namespace
