#include "tessaly/extract/extract_action.h"

#include <tuple>

#include "extract/extract_tests.h"
#include "platform/file.h"
#include "tessaly/text/date_data.h"
#include "tests/customers/customer_fixture.h"
#include "tests/support/file_content.h"
#include "tests/support/message_boxes.h"

using enum extract::ECTYPE;
using enum storage::ErrorCode;

namespace {

constexpr int mail_id = 7;
constexpr int company = 6;
constexpr int attribute = 28, number = 29, date = 30;  // attributes A, B and C: a text, a number, a date

EC_TAB_NUM Tab(int tab) { return static_cast<EC_TAB_NUM>(tab); }
EC_CON_NUM Con(int con) { return static_cast<EC_CON_NUM>(con); }

class ExtractActionTest : public CustomerTest {
  protected:
    ExtractActionTest() {
        for (char const* below : {"EXTRACT", "MAIL", "MAIL\\7"}) platform::MakeDirectory(env.DataPath(below));
        EXPECT_EQ(1, action.SetDatabaseEdit(&db));
        EXPECT_EQ(1, action.SetEnvManager(&env));
        NewSet();
    }
    void NewSet() {
        EXPECT_EQ(0, action.SetTypeAndID(ec_list, -1));
        EXPECT_EQ(0, action.GetExtractConditionFromFileToMemory(0, nullptr));
    }
    // A customer whose column `element` holds `value`.
    int With(int element, char const* value, char const* direct_mail = "Y") {
        OneCustomer customer;
        db.GetOneCustomerForNew(customer, 1);
        customer.Email = "a@example.jp";
        customer.DMOk = direct_mail;
        customer.*customers::DefinitionOf(element).member = value;
        EXPECT_EQ(0, db.SetOneCustomerInfo(customer, 0));
        return customer.CustomerID;
    }
    void Put(OneExtractCondition condition, int con = 0) {
        EXPECT_EQ(0, action.SetExtractConditionFromStructToMemory(condition, Tab(0), Con(con)));
    }
    static OneExtractCondition Equal(int element, std::vector<char const*> const& values, char const* flag) {
        OneExtractCondition condition;
        condition.ElementNumber = element;
        condition.EqualFlag = flag;
        for (char const* value : values) condition.Values.Add(value);
        return condition;
    }
    static OneExtractCondition Range(int element, char const* low, char const* high, char const* flag) {
        OneExtractCondition condition;
        condition.ElementNumber = element;
        condition.Mode = "R";
        condition.RangeLow = low;
        condition.RangeHigh = high;
        condition.RangeFlag = flag;
        return condition;
    }
    // Whether a customer with that value passes.
    bool Passes(OneExtractCondition const& condition, char const* value) {
        Put(condition);
        return Narrowed({With(condition.ElementNumber, value)}).size() == 1;
    }
    std::vector<int> Narrowed(std::vector<int> const& ids, int con = 0, int result = 0) {
        CList<int, int> list;
        for (int const id : ids) list.AddTail(id);
        EXPECT_EQ(result, action.PracticalExtractAction(list, Tab(0), Con(con)));
        std::vector<int> left;
        for (POSITION place = list.GetHeadPosition(); place;) left.push_back(list.GetNext(place));
        return left;
    }
    int Code() { return action.GetErrMsg().GetLastCode(); }

    ExtractAction action;
};

TEST_F(ExtractActionTest, ValuesOfEachType) {
    const struct {
        int element;
        std::vector<char const*> values;
        char const* value;
        bool any, none;  // with the flags Y and N
    } rows[] = {
        {company, {"ソ"}, "表ソ商店", true, false},
        {company, {"\x5C"}, "表ソ", false, true},  // the second byte of a character is none
        {company, {"ABC"}, "abc", false, true},
        {company, {"x", "商店"}, "表商店", true, false},
        {company, {""}, "", true, false},
        {company, {""}, "表", false, true},
        {company, {"表"}, "", false, true},
        {company, {"\"A,B\"", "C"}, "xA,B", true, false},
        {company, {"\"\"\"q\"\"\""}, "\"q\"", true, false},
        {customers::element_address, {"EXAMPLE.JP", "ｘ"}, "a@Example.jp", true, false},
        {number, {"5"}, "05", true, false},
        {number, {"5"}, "15", false, true},
        {number, {"5", "0"}, "x", true, false},
        {date, {"2004/05"}, "2004/5/6 7:8", true, false},
        {date, {"2004/5"}, "2004/5/6", false, true},  // the full text has two digits
        {customers::element_birthday, {"/12/"}, "1980/12/31", true, false},
    };
    for (auto const& row : rows) {
        EXPECT_EQ(row.any, Passes(Equal(row.element, row.values, "Y"), row.value)) << row.value;
        EXPECT_EQ(row.none, Passes(Equal(row.element, row.values, "N"), row.value)) << row.value;
    }
    // Another flag than these two passes where one side alone is empty.
    EXPECT_TRUE(Passes(Equal(company, {"表"}, "?"), ""));
    EXPECT_FALSE(Passes(Equal(company, {"表"}, "?"), "表"));
    EXPECT_FALSE(Passes(Equal(company, {"表"}, ""), "林"));
}

TEST_F(ExtractActionTest, RangesOfEachType) {
    const struct {
        int element;
        char const *low, *high, *value;
        bool inside, outside;  // with the flags Y and N
    } rows[] = {
        {company, "b", "d", "b", true, false},
        {company, "b", "d", "da", false, true},
        {company, "", "z", "表", false, true},  // double-byte characters come behind all others
        {company, "", "", "x", true, false},
        {company, "", "", "", false, false},
        {company, "a", "z", "", false, false},
        {number, "9", "10", "10", true, false},
        {number, "-2", "", "-3", false, true},
        {date, "2004/2", "2004/2", "2004/02/29 23:59:59", true, false},
        {date, "2004/2", "2004/2", "2004/03/01", false, true},
        {date, "", "2004", "2004/12/31 10:00:00", true, false},
        {date, "2005", "", "2004/12/31 23:59:59", false, true},
        {customers::element_birthday, "1980/12", "1980", "1980/12/01", true, false},
        {customers::element_address, "A@EXAMPLE.JP", "a@example.jp", "A@Example.JP", true, false},
    };
    for (auto const& row : rows) {
        EXPECT_EQ(row.inside, Passes(Range(row.element, row.low, row.high, "Y"), row.value)) << row.value;
        EXPECT_EQ(row.outside, Passes(Range(row.element, row.low, row.high, "N"), row.value)) << row.value;
        EXPECT_FALSE(Passes(Range(row.element, row.low, row.high, "?"), row.value)) << row.value;
    }
}

// Every date is tested as its full text, well-formed or not.
TEST(ExtractTests, DatesAreCompletedFirst) {
    for (char const* stored :
         {"2004/05/06",          "2004/05/06 07:08:09", "1900/01/28 23:59:59", "9999/12/31 00:00:00",
          "2004/02/29",          "2005/02/29",          "2004/02/30 01:02:03", "1899/05/06",
          "2004/00/06",          "2004/13/06",          "2004/05/00",          "2004/05/06 24:08:09",
          "2004/05/06 07:60:09", "2004/05/06 07:08:60", "2004-05-06",          "2004/05/06x07:08:09",
          "2004/05/06 07:08",    "2004/ 5/ 6",          "2004/+5/+6",          "x"}) {
        char full[text::date_data_size];
        ReFormat_DateData(stored, full, 0);
        EXPECT_EQ(customers::passes, customers::Check_Equal_Date(stored, full, "Y")) << stored;
        EXPECT_EQ(customers::passes, customers::Check_Renge_Date(stored, full, full, "Y")) << stored;
    }
}

TEST_F(ExtractActionTest, RefusersGoAndAnEmptySlotLeavesTheListAlone) {
    int const accepts = With(company, "表"), refuses = With(company, "表", "N"),
              deleted = With(company, "表"), other = With(company, "林");
    db.DeleteCustomer(deleted);
    std::vector<int> const all = {other, 99, deleted, refuses, accepts, accepts};
    EXPECT_EQ(all, Narrowed(all));
    Put(Equal(company, {"表"}, "Y"));
    EXPECT_EQ((std::vector{deleted, accepts, accepts}), Narrowed(all));
    Put(Equal(company, {"無い"}, "N"));
    EXPECT_EQ((std::vector{other, deleted, accepts, accepts}), Narrowed(all));
    Put(Range(company, "", "", "N"), 1);
    EXPECT_TRUE(Narrowed(all, 1).empty());
    CString no_type = "3";
    option.SetSODataToMemoryPinPoint(SystemOption::cell_extra_types, no_type);
    for (char const* flag : {"Y", "N"}) {
        EXPECT_FALSE(Passes(Equal(attribute, {"x"}, flag), "x"));
        EXPECT_FALSE(Passes(Range(attribute, "a", "m", flag), "x"));
    }
    EXPECT_EQ(error_none, Code());
}

TEST_F(ExtractActionTest, WhatIsRefusedLeavesTheListAlone) {
    std::vector<int> const ids = {With(company, "x", "N")};
    auto const refused = [&](int result, int code, int tab, int con) {
        CList<int, int> list;
        list.AddTail(ids[0]);
        EXPECT_EQ(result, action.PracticalExtractAction(list, Tab(tab), Con(con)));
        EXPECT_EQ(code, Code());
        EXPECT_EQ(1, list.GetCount());
        action.GetErrMsg().Clear();
    };
    refused(-14, 6014, 3, 9);
    refused(-14, 6014, -1, 0);
    refused(-15, 6015, 2, 5);
    OneExtractCondition bad = Equal(company, {"x"}, "Y");
    bad.Mode = "e";
    Put(bad);
    refused(-16, 6016, 0, 0);
    char const* cells[] = {"56", "?", "", "", "", "", ""};
    action.CorrectString(0, cells);
    refused(-13, 6013, 0, 0);  // before the mode
    ExtractAction unbound;
    CList<int, int> list;
    EXPECT_EQ(-4, unbound.PracticalExtractAction(list, Tab(9), Con(9)));
    EXPECT_EQ(6004, unbound.GetErrMsg().GetLastCode());
    CDatabaseEdit without_options(&env);
    ExtractAction blind(&env, &without_options, ec_list, -1);
    blind.GetExtractConditionFromFileToMemory(0, nullptr);
    OneExtractCondition condition = Equal(company, {"x"}, "Y");
    blind.SetExtractConditionFromStructToMemory(condition, Tab(0), Con(0));
    EXPECT_EQ(-6, blind.PracticalExtractAction(list, Tab(0), Con(0)));
    EXPECT_EQ(6006, blind.GetErrMsg().GetLastCode());
    action.DeleteAllString();
    refused(-7, 6007, 3, 0);
}

TEST_F(ExtractActionTest, SlotsComeBackAsTheyWere) {
    OneExtractCondition condition = Equal(company, {"\"A,B\"", "", "ソ\"x"}, "N"), read;
    for (auto const& [tab, con, result, code] :
         {std::tuple{3, 0, -14, 6014}, {0, 5, -15, 6015}, {-1, -1, -14, 6014}}) {
        EXPECT_EQ(result, action.SetExtractConditionFromStructToMemory(condition, Tab(tab), Con(con)));
        EXPECT_EQ(result, action.GetExtractConditionFromMemoryToStruct(read, Tab(tab), Con(con)));
        EXPECT_EQ(result, action.CheckExtractEffective(Tab(tab), Con(con)));
        EXPECT_EQ(code, Code());
    }
    condition.ElementNumber = 56;
    EXPECT_EQ(-13, action.SetExtractConditionFromStructToMemory(condition, Tab(2), Con(4)));
    condition.ElementNumber = company;
    EXPECT_EQ(0, action.SetExtractConditionFromStructToMemory(condition, Tab(2), Con(4)));
    for (int slot = 0; slot < 15; ++slot)
        EXPECT_EQ(slot == 14, action.CheckExtractEffective(Tab(slot / 5), Con(slot % 5)));
    EXPECT_EQ(0, action.WriteAllExtractConditionOnMemoryToFileNew(3));
    EXPECT_EQ(3, action.GetTargetID());
    EXPECT_TRUE(platform::Exists(env.DataPath("EXTRACT\\exrd3.dat")));
    EXPECT_EQ(0, action.GetExtractConditionFromFileToMemory(0, nullptr));
    EXPECT_EQ(0, action.GetExtractConditionFromMemoryToStruct(read, Tab(2), Con(4)));
    EXPECT_EQ(std::string(condition.EqualFlag.View()), read.EqualFlag.View());
    ASSERT_EQ(3, read.Values.GetSize());
    for (int i = 0; i < 3; ++i) EXPECT_EQ(condition.Values[i].View(), read.Values[i].View());
}

TEST_F(ExtractActionTest, ValuesAreCutAtCommasOutsideQuotes) {
    std::pair<char const*, std::vector<std::string>> const rows[] = {
        {"", {}},
        {",", {""}},
        {"a,b,", {"a", "b"}},
        {",a", {"", "a"}},
        {"\"a,b\",c", {"\"a,b\"", "c"}},
        {"\"a\"\"b,\"c\",d", {"\"a\"\"b,\"c\"", "d"}},
        {"\"a", {"\"a"}},
        {"x\"a,b\"", {"x\"a", "b\""}},
        {"\"\"", {"\"\""}},
        {"\"a\"x,b\"", {"\"a\"x,b\""}},
    };
    for (auto const& [text, values] : rows) {
        CArray<CString, CString> out;
        out.Add("old");
        action.DivideExtractCsv(text, out);
        std::vector<std::string> read;
        for (CString const& value : out) read.emplace_back(value.View());
        EXPECT_EQ(values, read) << text;
    }
}

TEST_F(ExtractActionTest, FilesOfASet) {
    CString const path = env.DataPath("MAIL\\7\\merd7.dat");
    CString const key = env.GetDBKey();
    std::string slots;
    for (int i = 0; i < 15; ++i) slots += "\"-1\",\"E\",\"\",\"Y\",\"\",\"\",\"Y\"\r\n";
    EXPECT_EQ(-12, action.SetTypeAndID(ec_mail, -1));
    EXPECT_EQ(-12, action.WriteAllExtractConditionOnMemoryToFileCompel());
    EXPECT_EQ(0, action.SetTypeAndID(ec_mail, mail_id));
    EXPECT_EQ(-12, action.WriteAllExtractConditionOnMemoryToFileNew(1));
    EXPECT_EQ(0, action.WriteAllExtractConditionOnMemoryToFile());  // nothing changed
    EXPECT_FALSE(platform::Exists(path));
    std::pair<std::string, std::pair<int, int>> const loads[] = {
        {"", {-42, 6402}},
        {"1,2\r\n1\r\n", {-43, 6403}},
        {"1,2\r\n", {-7, 6007}},
        {"\r\n", {-99, 6999}},
        {slots + "\"-1\",\"E\",\"\",\"Y\",\"\",\"\",\"Y\"\r\n", {-7, 6007}},
        {slots, {0, 6007}},
    };
    EXPECT_EQ(-41, action.GetExtractConditionFromFileToMemory(0, nullptr));
    for (auto const& [content, expected] : loads) {
        ASSERT_TRUE(WriteTable(path, content, key));
        EXPECT_EQ(expected.first, action.GetExtractConditionFromFileToMemory(0, nullptr)) << content;
        EXPECT_EQ(expected.second, Code());
    }
    OneExtractCondition condition = Equal(company, {"x"}, "Y");
    Put(condition);
    EXPECT_EQ(0, action.WriteFromMemoryToFileAppointFileName(folder.Path("copy.dat"), nullptr));
    EXPECT_TRUE(TableContentOf(folder.Path("copy.dat")).starts_with("\"6\",\"E\",\"x\",\"Y\","));
    platform::FailWritesAfter(0);
    EXPECT_EQ(-44, action.WriteAllExtractConditionOnMemoryToFile());
    platform::FailWritesAfter(-1);
    EXPECT_EQ(6404, Code());
    EXPECT_EQ(0, action.WriteAllExtractConditionOnMemoryToFile());  // still to be saved
    ExtractAction other(&env, &db, ec_mail, mail_id);
    EXPECT_EQ(0, other.GetExtractConditionFromFileToMemory(1, key));
    EXPECT_EQ(ExtractAction::slot_used, other.CheckExtractEffective(Tab(0), Con(0)));
    Put(condition);
    EXPECT_EQ(0, action.GetExtractConditionFromFileToMemory(0, nullptr));
    platform::RemoveFile(path);
    EXPECT_EQ(0, action.WriteAllExtractConditionOnMemoryToFile());  // nothing changed since it was read
    EXPECT_FALSE(platform::Exists(path));
}

TEST_F(ExtractActionTest, BindingAndItsOrder) {
    ExtractAction unbound;
    std::pair<int, int> const order[] = {{-1, 6001}, {-8, 6008}, {-10, 6010}};
    for (int step = 0; step < 3; ++step) {
        if (step == 1) unbound.SetEnvManager(&env);
        if (step == 2) unbound.SetTypeAndID(ec_list, -2);
        EXPECT_EQ(order[step].first, unbound.GetExtractConditionFromFileToMemory(0, nullptr));
        EXPECT_EQ(order[step].first, unbound.WriteAllExtractConditionOnMemoryToFile());
        EXPECT_EQ(order[step].first, unbound.WriteFromMemoryToFileAppointFileName("C:\\x", nullptr));
        EXPECT_EQ(order[step].second, unbound.GetErrMsg().GetLastCode());
    }
    EXPECT_EQ(0, unbound.SetEnvManager(&env));
    EXPECT_EQ(0, unbound.SetDatabaseEdit(nullptr));
    MessageBoxes const boxes;
    EXPECT_THROW(ExtractAction(nullptr, &db), CUserException);
    EXPECT_THROW(ExtractAction(&env, nullptr), CUserException);
    EXPECT_THROW(ExtractAction(&env, &db, ec_mail, -1), CUserException);
    EXPECT_EQ(3U, boxes.Texts().size());
}

}  // namespace
