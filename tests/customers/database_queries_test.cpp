#include <gtest/gtest.h>

#include "tests/customers/customer_fixture.h"

using enum customers::Direction;
using enum storage::ErrorCode;

using namespace customers;

class DatabaseQueriesTest : public CustomerTest {
  protected:
    CString Vector(std::initializer_list<int> elements) {
        CString vector('0', element_count);
        for (int element : elements) vector.SetAt(element, '1');
        return vector;
    }
};

TEST_F(DatabaseQueriesTest, ListsRangesOfLiveCustomers) {
    for (int i = 0; i < 10; ++i) Add("a@example.jp");
    db.DeleteCustomer(6);
    struct Case {
        int from, to, size;
    };
    Case const cases[] = {{-1, -1, 9}, {5, -1, 9}, {-1, 5, 9}, {5, 7, 2},
                          {7, 5, 0},   {0, 0, 1},  {6, 6, 0},  {9, 99, 1}};
    for (Case const& c : cases) {
        EXPECT_EQ(c.size, db.GetDBForListSize(c.from, c.to)) << c.from << " " << c.to;
        CArray<CDbCustomerID, CDbCustomerID> ids;
        ids.SetSize(c.size);
        EXPECT_EQ(c.size, db.GetDBForList(&ids, c.from, c.to));
        for (CDbCustomerID const& id : ids) EXPECT_NE(6, id.CustomerID);
    }
    CArray<CDbCustomerID, CDbCustomerID> small;
    small.SetSize(2);
    EXPECT_EQ(2, db.GetDBForList(&small, 5, 9));  // not grown
    EXPECT_EQ(2, small.GetSize());
    EXPECT_EQ(7, small[1].CustomerID);
    EXPECT_EQ(0, db.GetDBForList(nullptr, 5, 9));

    CList<int, int> list;
    list.AddTail(77);
    EXPECT_EQ(9, db.GetDBIDWithoutDelete(list));
    EXPECT_EQ(0, list.GetHead());
    EXPECT_EQ(9, db.GetDBCountWithoutDelete());
    EXPECT_EQ(9, db.GetMaxDBIDOnlyExisting());
    db.DeleteCustomer(9);
    EXPECT_EQ(8, db.GetMaxDBIDOnlyExisting());
    EXPECT_EQ(0, CDatabaseEdit().GetMaxDBIDOnlyExisting());
}

TEST_F(DatabaseQueriesTest, DescribesElements) {
    CArray<DB_Element_Info, DB_Element_Info> info;
    ASSERT_EQ(CDatabaseEdit::ok, db.Get_DBElementInfo(info, CString('1', 56)));
    ASSERT_EQ(56, info.GetSize());
    struct Case {
        int element;
        char const* title;
        int type;
    };
    Case const cases[] = {{0, "個人情報ID", 1}, {8, "生年月日", 0},    {10, "", 0},
                          {20, "", 0},          {27, "余白5", 0},      {28, "属性A", 0},
                          {29, "属性B", 1},     {30, "属性C", 2},      {47, "属性T", 0},
                          {48, "余白6", 0},     {53, "削除フラグ", 0}, {55, "更新日時", 2}};
    for (Case const& c : cases) {
        EXPECT_EQ(c.element, info[c.element].ElementNumber);
        EXPECT_EQ(c.title, info[c.element].Title);
        EXPECT_EQ(c.type, info[c.element].Type) << c.element;
    }
    ASSERT_EQ(CDatabaseEdit::ok, db.Get_DBElementInfo(info, Vector({30})));
    ASSERT_EQ(1, info.GetSize());
    EXPECT_EQ("属性C", info[0].Title);
    EXPECT_EQ(CDatabaseEdit::ok, db.Get_DBElementInfo(info, Vector({})));
    EXPECT_EQ(0, info.GetSize());
}

TEST_F(DatabaseQueriesTest, RefusesBadVectorsInOrder) {
    CArray<DB_Element_Info, DB_Element_Info> info;
    info.SetSize(3);
    CString bad_bit('1', 56);
    bad_bit.SetAt(55, '2');
    CDatabaseEdit unbound;
    CDatabaseEdit without_options(&env);
    SystemOption empty_options;
    CDatabaseEdit with_empty_options(&env, &empty_options);
    struct Case {
        CDatabaseEdit* table;
        CString vector;
        int result, error, size;
    };
    Case const cases[] = {{&unbound, "", -12, customer_environment_not_set, 3},
                          {&without_options, "", -14, customer_system_option_not_set, 3},
                          {&db, CString('2', 55), -15, customer_bit_vector_length, 3},
                          {&db, CString('1', 57), -15, customer_bit_vector_length, 3},
                          {&db, bad_bit, -16, customer_bit_vector_bits, 3},
                          {&with_empty_options, CString('1', 56), -17, customer_system_option_failed, 28}};
    for (Case const& c : cases) {
        EXPECT_EQ(c.result, c.table->Get_DBElementInfo(info, c.vector));
        EXPECT_EQ(c.error, c.table->GetErrMsg().GetLastCode());
        EXPECT_EQ(c.size, info.GetSize()) << c.result;
    }
    EXPECT_EQ(CDatabaseEdit::ok, with_empty_options.Get_DBElementInfo(info, Vector({1, 53})));
}

TEST_F(DatabaseQueriesTest, GroupsDistinctValues) {
    char const* const addresses[] = {"a@x.jp", "b@X.jp", "c@x.jp",   "表示",
                                     "",       "d@y.jp", "e@x@z.jp", "f@y.jp"};
    char const* const families[] = {"佐藤", "sato", "Sato", "佐藤", "", "佐", "sato", "Sato"};
    for (std::size_t i = 0; i < std::size(addresses); ++i) Add(addresses[i], families[i]);
    db.DeleteCustomer(5);
    using List = std::vector<std::string>;
    CStringList out;
    out.AddTail("old");
    EXPECT_EQ(4, db.GetDBElementGroupBy(2, out, 0, 0));
    EXPECT_EQ((List{"佐藤", "sato", "Sato", ""}), Texts(out));
    EXPECT_EQ(5, db.GetDBElementGroupBy(2, out, 1, -1));
    EXPECT_EQ((List{"佐藤", "sato", "Sato", "", "佐"}), Texts(out));
    EXPECT_EQ(3, db.GetDBElementGroupBy(2, out, 0, 3));
    EXPECT_EQ((List{"佐藤", "sato", "Sato"}), Texts(out));
    EXPECT_EQ(1, db.GetDBElementGroupBy(9, out, 1, 3));
    // The divider of 表示 holds the byte of an "@" as its second one.
    EXPECT_EQ(6, db.GetDBElementGroupByForMailAddress(out, 0, 0));
    EXPECT_EQ((List{"@x.jp", "@X.jp", "表示", "", "@x@z.jp", "@y.jp"}), Texts(out));
    EXPECT_EQ(2, db.GetDBElementGroupByForMailAddress(out, 0, 2));
    for (int element : {-1, 56}) {
        EXPECT_EQ(CDatabaseEdit::bad_element, db.GetDBElementGroupBy(element, out, 0, 0));
        EXPECT_EQ(customer_bad_element_number, LastError());
        EXPECT_EQ(0, out.GetCount());
    }

    CArray<t_SORT_ITEM, t_SORT_ITEM> items;
    EXPECT_EQ(7, db.GetDBID2Item(2, items));
    EXPECT_EQ(6, items[5].CustomerID);
    EXPECT_EQ("sato", items[5].Value);
    EXPECT_EQ(7, db.GetDBID2Item(99, items));
    EXPECT_EQ("", items[0].Value);
}

TEST_F(DatabaseQueriesTest, RestoresOnlyWhatIsUnknownByAddressAndID) {
    Add("same@example.jp");      // 0
    Add("conflict@example.jp");  // 1
    Add("changed@example.jp");   // 2
    Add("wiped@example.jp");     // 3
    db.PhysicalDeletion(3);
    Add("twice@example.jp");  // 4
    Add("Twice@example.jp");  // 5: this one counts for the address
    CDatabaseEdit backup;
    backup.SetEnvManager(&env);
    OneCustomer customer;
    struct Row {
        int id;
        char const* address;
        char const* flag;
    };
    Row const rows[] = {{0, "SAME@example.jp", ""},
                        {9, "Conflict@example.jp", ""},
                        {2, "new@example.jp", ""},
                        {3, "wiped@example.jp", ""},
                        {20, "", "Y"},
                        {5, "twice@example.jp", ""},
                        {4, "TWICE@example.jp", ""},
                        {12, "back@example.jp", "Y"},
                        {11, "also@example.jp", ""},
                        {12, "again@example.jp", ""},
                        {13, "back@EXAMPLE.jp", ""}};
    for (Row const& row : rows) {
        customer.CustomerID = row.id;
        customer.Email = row.address;
        customer.DeleteFlag = row.flag;
        customer.EntryDate = COleDateTime(2001, 1, 1, 0, 0, 0);
        ASSERT_EQ(CDatabaseEdit::ok, backup.SetOneCustomerInfoForRepair(customer));
    }
    CArray<int, int> restored, conflicts;
    restored.Add(77);
    db.RestoreFromOtherDBE(backup, restored, conflicts);
    EXPECT_EQ((std::vector{12, 11, 12, 13}), Items(restored));
    EXPECT_EQ((std::vector{9, 4}), Items(conflicts));
    EXPECT_EQ(11, backup.GetLineNumber());
    EXPECT_EQ(10, db.GetLineNumber());
    EXPECT_EQ(CDatabaseEdit::no_match, db.DBID2RowNumber(11));
    db.SortByCustomerID();
    db.MakeIndex();
    EXPECT_EQ("also@example.jp", Value(11, 1));
    EXPECT_EQ("again@example.jp", Value(12, 1));  // of two rows with one ID there the last one
    EXPECT_EQ("2001/01/01 00:00:00", Value(11, 54));
    ExpectIndexIsRight(20);
    EXPECT_EQ(11, db.SearchCustomerOneElement(1, "ALSO@example.jp", -1, direction_forward));

    db.RestoreFromOtherDBE(db, restored, conflicts);
    EXPECT_EQ(10, db.GetLineNumber());
}
