#include "tessaly/extract/extract_result_detail.h"

#include <algorithm>
#include <functional>
#include <tuple>

#include "tessaly/extract/extract_list_viewer.h"
#include "tessaly/mailstore/mail_list_viewer.h"
#include "tessaly/mailstore/one_mail_data.h"
#include "tests/customers/customer_fixture.h"
#include "tests/support/file_content.h"
#include "tests/support/message_boxes.h"

using enum extract::ERTYPE;

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
        mails.SetMailData(mail);
        ExtractViewData group;
        group.ExtractID = list_id;
        group.Name = "常連";
        lists.InsertExtractList(group);
        for (int id = 0; id < customers; ++id) EXPECT_EQ(id, Add("a@example.jp", std::to_string(id).c_str()));
        SetConsent(refuser, "N");
        EXPECT_EQ(0, list.SetTypeAndID(er_mail, mail_id));
    }

    void SetConsent(int id, char const* consent) {
        OneCustomer customer;
        db.GetOneCustomerForEdit(customer, id);
        customer.DMOk = consent;
        db.SetOneCustomerInfo(customer, 0);
    }
    int Code() { return list.GetErrMsg().GetLastCode(); }
    std::vector<int> IDs() {
        CList<int, int> ids;
        EXPECT_EQ(0, list.GetDBIDToCListInt(ids, 0));
        std::vector<int> items;
        for (POSITION place = ids.GetHeadPosition(); place;) items.push_back(ids.GetNext(place));
        return items;
    }
    int Set(std::vector<int> const& ids, int check, int sort) { return Set(ids, check, sort, list); }
    static int Set(std::vector<int> const& ids, int check, int sort, ExtractResultDetail& result) {
        CList<int, int> given;
        for (int const id : ids) given.AddTail(id);
        return result.SetDBIDFromCListInt(given, check, sort);
    }
    void Load(std::string const& plain) {
        Put(plain);
        ASSERT_EQ(0, list.GetDBIDListFromFileToMemory(0, nullptr));
    }
    void Put(std::string const& plain) const { WriteTable(path, plain, env_key); }
    std::string OnDisk() const { return TableContentOf(path, env_key); }

    CMailListViewer mails;
    ExtractListViewer lists;
    ExtractResultDetail list;
    CString const path = env.DataPath("MAIL\\7\\meli7.dat");
    CString const env_key = env.GetDBKey();
};

TEST_F(ExtractResultTest, EverythingIsBoundAndAimedFirst) {
    ExtractResultDetail bare;
    CList<int, int> ids;
    CArray<ERDetailPlusDB, ERDetailPlusDB> entries;
    const struct {
        std::function<int()> call;
        int unaimed;
    } calls[] = {
        {[&] { return bare.AddDBID(0); }, -5},
        {[&] { return bare.GetIDPlusDBDataFromDBFile(entries, 0, 0); }, -5},
        {[&] { return bare.RemoveDBID(0); }, -5},
        {[&] { return bare.ALLRemoveDBID(); }, -5},
        {[&] { return bare.GetDBIDToCListInt(ids, 0); }, -6},
        {[&] { return Set({unknown}, 1, 0, bare); }, -13},
        {[&] { return Set({0}, 1, 0, bare); }, -5},
        {[&] { return bare.GetDBIDListFromFileToMemory(0, nullptr); }, -5},
        {[&] { return bare.WriteAllOnMemoryDBIDToFile(); }, -5},
        {[&] { return bare.WriteAllOnMemoryDBIDToFileNew(1); }, -8},
    };
    for (auto const& row : calls) EXPECT_EQ(-4, row.call()) << &row - calls;
    EXPECT_EQ(-4, bare.GetAllDBIDWithoutDeleteFromDBToCListInt(ids));
    EXPECT_EQ(-4, bare.SetTypeAndID(er_mail, mail_id));
    EXPECT_EQ(3004, bare.GetErrMsg().GetLastCode());
    EXPECT_EQ(0, bare.SetEnvManager(nullptr));
    EXPECT_EQ(1, bare.SetEnvManager(&env));
    EXPECT_EQ(-4, bare.SetTypeAndID(er_mail, -1));
    EXPECT_EQ(-4, bare.SetTypeAndID(er_list, -1));
    EXPECT_EQ(1, bare.SetExtractListViewer(nullptr));
    EXPECT_EQ(1, bare.SetExtractListViewer(&lists));
    EXPECT_EQ(1, bare.SetMailListViewer(&mails));
    EXPECT_EQ(1, bare.SetDatabaseEdit(&db));
    for (int const again :
         {bare.SetEnvManager(&env), bare.SetExtractListViewer(&lists), bare.SetMailListViewer(&mails)})
        EXPECT_EQ(0, again);
    for (auto const& row : calls) EXPECT_EQ(row.unaimed, row.call()) << &row - calls;

    std::tuple<ERTYPE, int, int, int> const targets[] = {
        {er_mail, -1, -1, 3001}, {er_mail, 8, -2, 3002}, {er_list, 8, -3, 3003}, {er_not_set, 1, -6, 3006}};
    for (auto const& [type, id, result, code] : targets) {
        EXPECT_EQ(result, bare.SetTypeAndID(type, id));
        EXPECT_EQ(code, bare.GetErrMsg().GetLastCode());
    }
    EXPECT_EQ(-5, bare.ALLRemoveDBID());
    EXPECT_EQ(0, bare.SetTypeAndID(er_list, -1));
    EXPECT_EQ(-5, bare.GetDBIDListFromFileToMemory(0, nullptr));
    EXPECT_EQ(-3, bare.ExtractDBID2RowNumber(0));
}

TEST_F(ExtractResultTest, RefusedConstructionIsShownAndRaised) {
    MessageBoxes const boxes;
    EXPECT_THROW(ExtractResultDetail(&env, nullptr, &lists, &db), CUserException);
    EXPECT_THROW(ExtractResultDetail(&env, &mails, &lists, &db, er_mail, 8), CUserException);
    EXPECT_THROW(ExtractResultDetail(&env, &mails, nullptr, &db, er_list, list_id), CUserException);
    ASSERT_EQ(3U, boxes.Texts().size());
    for (int const code : {3007, 3002, 3004}) {
        list.GetErrMsg().SetErr(code);
        EXPECT_EQ(1, std::ranges::count(boxes.Texts(), list.GetErrMsg().GetLastMsg()));
    }
    ExtractResultDetail good(&env, &mails, nullptr, &db, er_mail, mail_id);
    EXPECT_EQ(1, good.AddDBID(5));
}

TEST_F(ExtractResultTest, NoIDEntersTwiceAndNoRefuserAtAll) {
    Load(Lines({5, 2}) + "\"007\"\r\n");
    for (int const id : {5, 7, refuser}) EXPECT_EQ(3, list.AddDBID(id)) << id;
    for (int const id : {0, 0}) EXPECT_EQ(4, list.AddDBID(id));
    EXPECT_EQ(0, Code());
    EXPECT_EQ(-13, list.AddDBID(unknown));
    EXPECT_EQ(3103, Code());
    EXPECT_EQ(3, list.RemoveDBID(5));
    EXPECT_EQ(-14, list.RemoveDBID(5));
    EXPECT_EQ(3104, Code());
    EXPECT_EQ(-1, list.ExtractDBID2RowNumber(5));
    EXPECT_EQ(4, list.AddDBID(5));
    EXPECT_EQ((std::vector{2, 7, 0, 5}), IDs());
    EXPECT_EQ(0, list.ALLRemoveDBID());
    EXPECT_EQ(1, list.AddDBID(2));
    Load(Lines({5, 0, 5}));
    EXPECT_EQ(2, list.RemoveDBID(5));
    EXPECT_EQ(2, list.AddDBID(5));  // still there a second time
    EXPECT_EQ(3, list.AddDBID(2));  // never saved, so forgotten
}

TEST_F(ExtractResultTest, ListsMakeAUnionAndAreCheckedAsAWhole) {
    EXPECT_EQ(-13, Set({4, 1, unknown}, 1, 1));
    EXPECT_EQ(0, list.GetRecordNumber());
    EXPECT_EQ(-13, Set({4, 1, unknown, 2}, 0, 1));
    EXPECT_EQ((std::vector{4, 1}), IDs());
    EXPECT_EQ(0, Set({3, 4, refuser, 0, 3}, 1, 0));
    EXPECT_EQ((std::vector{4, 1, 3, 0}), IDs());
    EXPECT_EQ(0, Set({}, 1, 1));
    EXPECT_EQ((std::vector{0, 1, 3, 4}), IDs());

    Load("\"1\"\r\n\"007\"\r\n\"99\"\r\n");
    CList<int, int> ids;
    EXPECT_EQ(-13, list.GetDBIDToCListInt(ids, 1));
    EXPECT_TRUE(ids.IsEmpty());
    list.SortByDBID();
    EXPECT_EQ(0, list.WriteAllOnMemoryDBIDToFile());
    EXPECT_EQ(Lines({1, 7, 99}), OnDisk());
    Load(Lines({7, 99, 1}));
    list.SortByDBID();
    EXPECT_EQ(0, list.WriteAllOnMemoryDBIDToFile());
    EXPECT_EQ(Lines({1, 7, 99}), OnDisk());

    db.DeleteCustomer(1);
    EXPECT_EQ(customers - 1, list.GetAllDBIDWithoutDeleteFromDBToCListInt(ids));
}

TEST_F(ExtractResultTest, LoadTellsWhatIsWrongWithTheFile) {
    std::tuple<std::string, int, int, std::vector<int>> const files[] = {
        {"(no file)", -31, 3201, {}},
        {"", -32, 3202, {}},
        {Lines({1}) + "\"2\",\"3\"\r\n", -33, 3203, {1}},
        {"\r\n" + Lines({1}), -34, 3204, {}}};
    for (auto const& [plain, result, code, ids] : files) {
        list.AddDBID(0);
        Put(plain);
        if (result == -31) platform::RemoveFile(path);
        EXPECT_EQ(result, list.GetDBIDListFromFileToMemory(0, nullptr));
        EXPECT_EQ(code, Code());
        EXPECT_EQ(ids, IDs());
    }
    WriteTable(path, Lines({4}), "other");
    EXPECT_EQ(0, list.GetDBIDListFromFileToMemory(1, "other"));
    EXPECT_EQ(std::vector{4}, IDs());
    WriteTable(env_path, "\"broken\",\"2004/01/03 00:00:00\",\"2004/01/03 00:00:00\"\r\n", "application");
    EXPECT_EQ(-35, list.WriteAllOnMemoryDBIDToFileCompel());
    EXPECT_EQ(-33, list.GetDBIDListFromFileToMemory(0, nullptr));
    EXPECT_EQ(Lines({4}), TableContentOf(path, "other"));
    mails.RemoveMailData(mail_id);
    EXPECT_EQ(-2, list.GetDBIDListFromFileToMemory(0, nullptr));
    EXPECT_EQ(-2, list.WriteAllOnMemoryDBIDToFileCompel());
}

TEST_F(ExtractResultTest, ViewDropsTheWiped) {
    for (int const id : {2, 3, 5}) ASSERT_EQ(0, db.PhysicalDeletion(id));
    db.DeleteCustomer(1);  // whose data are still stored
    CArray<ERDetailPlusDB, ERDetailPlusDB> entries;
    std::tuple<int, int, std::vector<int>, std::vector<int>> const views[] = {
        {-1, 3, {0, 1, 4}, {0, 1, 4}},   {0, 1, {0, 1}, {0, 1, 5, 4}},   {0, 0, {0}, {0, 3, 1, 5, 4}},
        {3, 5, {1, 4}, {2, 0, 3, 1, 4}}, {4, 100, {4}, {2, 0, 3, 1, 4}}, {2, 1, {}, {2, 0, 3, 1, 5, 4}},
        {6, 9, {}, {2, 0, 3, 1, 5, 4}},  {-7, 0, {0}, {0, 3, 1, 5, 4}},  {-7, -2, {}, {2, 0, 3, 1, 5, 4}}};
    for (auto const& [from, to, shown, left] : views) {
        SCOPED_TRACE(from);
        Load(Lines({2, 0, 3, 1, 5, 4}));
        EXPECT_EQ(static_cast<int>(shown.size()), list.GetIDPlusDBDataFromDBFile(entries, from, to));
        std::vector<int> ids;
        for (ERDetailPlusDB const& entry : entries) ids.push_back(entry.CustomerID);
        EXPECT_EQ(shown, ids);
        EXPECT_EQ(left, IDs());
        EXPECT_EQ(Lines(left), OnDisk());
    }
    Load(Lines({4}));
    ASSERT_EQ(1, list.GetIDPlusDBDataFromDBFile(entries, -1, -1));
    EXPECT_EQ("4", entries[0].KanjiSei);
    EXPECT_EQ("a@example.jp", entries[0].Email);
    EXPECT_EQ("2004-05-06 07:08:09", entries[0].RenewalDate.Format("%Y-%m-%d %H:%M:%S"));
}

TEST_F(ExtractResultTest, ViewKeepsWhatItCouldNotFinish) {
    db.PhysicalDeletion(2);
    CArray<ERDetailPlusDB, ERDetailPlusDB> entries;
    Load(Lines({2, 0, unknown, 1}));
    EXPECT_EQ(-13, list.GetIDPlusDBDataFromDBFile(entries, -1, -1));
    EXPECT_EQ(3103, Code());
    EXPECT_EQ(1, entries.GetSize());
    EXPECT_EQ(Lines({0, unknown, 1}), OnDisk());

    Load(Lines({2, 0}));
    platform::FailWritesAfter(0);
    EXPECT_EQ(1, list.GetIDPlusDBDataFromDBFile(entries, -1, -1));
    platform::FailWritesAfter(-1);
    EXPECT_EQ(3205, Code());
    EXPECT_EQ(0, list.WriteAllOnMemoryDBIDToFile());
    EXPECT_EQ(Lines({0}), OnDisk());
    SetConsent(2, "Y");  // the ID can come back with its data
    EXPECT_EQ(2, list.AddDBID(2));
}

TEST_F(ExtractResultTest, WritersKeepWhatTheyCouldNotSave) {
    EXPECT_EQ(0, list.WriteAllOnMemoryDBIDToFile());
    EXPECT_FALSE(platform::Exists(path));
    ASSERT_EQ(0, Set({3, 1}, 1, 0));
    CString const copy = folder.Path("copy.dat");
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
    EXPECT_EQ(Lines({5}), OnDisk());  // nothing was changed
    EXPECT_EQ(0, list.WriteAllOnMemoryDBIDToFileCompel());
    EXPECT_EQ(Lines({3, 1}), OnDisk());

    EXPECT_EQ(-8, list.WriteAllOnMemoryDBIDToFileNew(list_id));
    EXPECT_EQ(3008, Code());
    ASSERT_EQ(0, list.SetTypeAndID(er_list, -1));
    ASSERT_EQ(3, list.AddDBID(0));
    EXPECT_EQ(-5, list.WriteAllOnMemoryDBIDToFile());
    EXPECT_EQ(0, list.WriteAllOnMemoryDBIDToFileNew(list_id));
    EXPECT_EQ(Lines({3, 1, 0}), TableContentOf(env.DataPath("EXTRACT\\exsl3.dat"), env_key));
    EXPECT_EQ(-5, list.WriteAllOnMemoryDBIDToFileCompel());
    ASSERT_EQ(0, list.SetTypeAndID(er_list, list_id));
    EXPECT_EQ(0, list.GetDBIDListFromFileToMemory(0, nullptr));
    EXPECT_EQ((std::vector{3, 1, 0}), IDs());
}

}  // namespace
