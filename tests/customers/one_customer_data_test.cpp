#include "tessaly/customers/one_customer_data.h"

#include <gtest/gtest.h>

#include <climits>

#include "platform/clock.h"
#include "tests/platform/time_zone.h"

using enum storage::_MYDB_DATATYPE;

namespace {

using Customer = COneCustomerData;

// The clock is held at 2004/05/06 07:08:09.
class OneCustomerDataTest : public testing::Test {
  protected:
    static CString Text(COleDateTime const& date) { return date.Format("%Y/%m/%d %H:%M:%S"); }
    // The fields in member order, of the attributes the first and the last, divided by commas.
    static CString All(Customer const& c) {
        CString text;
        text.Format("%d", c.GetCustomerID());
        for (CString const& field :
             {c.GetEmail(),    c.GetKanjiSei(),   c.GetKanjiMei(),        c.GetKanaSei(),
              c.GetKanaMei(),  c.GetCompany(),    c.GetCompanyPost(),     Text(c.GetBirthday()),
              c.GetZipCode1(), c.GetZipCode2(),   c.GetPrefecture(),      c.GetAddress1(),
              c.GetAddress2(), c.GetBuilding(),   c.GetPhone1(),          c.GetPhone2(),
              c.GetFax1(),     c.GetFax2(),       c.GetPortable1(),       c.GetPortable2(),
              c.GetDMOk(),     c.GetDeleteFlag(), Text(c.GetEntryDate()), Text(c.GetRenewalDate()),
              c.GetExtraA(),   c.GetExtraT()})
            text += "," + field;
        return text;
    }
    CString ZipCode() const { return customer.GetZipCode1() + "," + customer.GetZipCode2(); }
    int SetDate(int kind, char const* text) {
        return customer.SetDate(kind, text, 0, nullptr, nullptr, nullptr);
    }

    TimeZone zone{"UTC"};
    platform::FrozenClock clock{{1083827289, 0}};
    Customer customer;
};

TEST_F(OneCustomerDataTest, ZipCodes) {
    for (char const* good : {"765-4321", "765－4321", "765ー4321", "-7－65ー4-321-", "7654321"}) {
        customer.SetZipCode(0);
        EXPECT_EQ(0, customer.SetZipCode(good)) << good;
        EXPECT_EQ("765,4321", ZipCode()) << good;
    }
    customer.SetZipCode(0);
    for (char const* bad : {"765432", "76543210", "765432a", "7654\x81-321", "76543１", ""})
        EXPECT_EQ(-1, customer.SetZipCode(bad)) << bad;
    for (int bad : {10000000, -1234567}) EXPECT_EQ(-1, customer.SetZipCode(bad));
    EXPECT_EQ("000,0000", ZipCode());

    const struct {
        int got, result;
    } parts[] = {{customer.SetZipCode1(1000), -1},  {customer.SetZipCode2(10000), -1},
                 {customer.SetZipCode1(-1), -1},    {customer.SetZipCode2(-1), -1},
                 {customer.SetZipCode1("12"), -1},  {customer.SetZipCode1("12a"), -2},
                 {customer.SetZipCode2("123"), -1}, {customer.SetZipCode2("12-3"), -2}};
    for (auto const& part : parts) EXPECT_EQ(part.result, part.got);
    EXPECT_EQ("000,0000", ZipCode());
    EXPECT_EQ(0, customer.SetZipCode1(7) + customer.SetZipCode2("9999"));
    EXPECT_EQ("007,9999", ZipCode());
    EXPECT_EQ(0, customer.SetZipCode1(999) + customer.SetZipCode2(0));
    EXPECT_EQ("999,0000", ZipCode());
    EXPECT_EQ(0, customer.SetZipCode1(0) + customer.SetZipCode2(9999));
    EXPECT_EQ("000,9999", ZipCode());
    EXPECT_EQ(0, customer.SetZipCode(9999999));
    EXPECT_EQ("999,9999", ZipCode());
}

TEST_F(OneCustomerDataTest, CustomerIdsFromText) {
    const struct {
        char const* text;
        int result, id;
    } rows[] = {{" +7x", 0, 7},
                {"x", 0, 0},
                {"99999999999999999999", 0, INT_MAX},
                {"-1", -1, 5},
                {"-99999999999999999999", -1, 5}};
    for (auto const& row : rows) {
        customer.SetCustomerID(5);
        EXPECT_EQ(row.result, customer.SetCustomerID(row.text)) << row.text;
        EXPECT_EQ(row.id, customer.GetCustomerID()) << row.text;
    }
}

TEST_F(OneCustomerDataTest, FieldsOfFixedForm) {
    const struct {
        int (Customer::*set)(CString);
        CString (Customer::*get)() const;
        char const *good, *bad, *after;
    } rows[] = {
        {&Customer::SetEmail, &Customer::GetEmail, "a@b.jp", "", "a@b.jp"},
        {&Customer::SetEmail, &Customer::GetEmail, "a@b.jp", "a@b", "a@b.jp"},
        {&Customer::SetPrefecture, &Customer::GetPrefecture, "<未選択>", "", "<未選択>"},
        {&Customer::SetPrefecture, &Customer::GetPrefecture, "京都府", "京都", "<未選択>"},
        {&Customer::SetPrefecture, &Customer::GetPrefecture, "北海道", "東京都港区", "<未選択>"},
        {&Customer::SetPhone1, &Customer::GetPhone1, "03-1", "03 1", "03-1"},
        {&Customer::SetFax2, &Customer::GetFax2, "", "１", ""},
        {&Customer::SetDMOk, &Customer::GetDMOk, "Y", "y", "N"},
        {&Customer::SetDeleteFlag, &Customer::GetDeleteFlag, "Y", "N", ""},
    };
    for (auto const& row : rows) {
        EXPECT_EQ(0, (customer.*row.set)(row.good)) << row.good;
        EXPECT_EQ(row.good, (customer.*row.get)());
        EXPECT_EQ(-1, (customer.*row.set)(row.bad)) << row.bad;
        EXPECT_EQ(row.after, (customer.*row.get)()) << row.bad;
    }
    for (int flag : {1, 2, 0}) {
        customer.SetDMOk(flag);
        customer.SetDeleteFlag(flag);
        EXPECT_EQ(flag == 1 ? "YY" : "N", customer.GetDMOk() + customer.GetDeleteFlag());
    }
}

TEST_F(OneCustomerDataTest, DateTexts) {
    const struct {
        int kind;
        char const* text;
        int result;
        char const* stored;
    } rows[] = {
        {0, "1980/01/02 12:34:56", 0, "1980/01/02 00:00:00"},
        {0, "1980/01", 0, "2004/05/06 00:00:00"},
        {0, "1980/1/2", -1, "2001/01/01 00:00:00"},
        {1, "1980/01/02 12:34:56", 0, "1980/01/02 12:34:56"},
        {1, "1980/01", 0, "2004/05/06 07:08:09"},
        {2, "1980/01/02", 0, "2004/05/06 07:08:09"},
        {2, "1980/01/02 03:04:05x", -1, "2001/01/01 00:00:00"},
    };
    for (auto const& row : rows) {
        for (int kind = 0; kind < 3; ++kind) ASSERT_EQ(0, SetDate(kind, "2001/01/01 00:00:00"));
        EXPECT_EQ(row.result, SetDate(row.kind, row.text)) << row.text;
        COleDateTime const dates[] = {customer.GetBirthday(), customer.GetEntryDate(),
                                      customer.GetRenewalDate()};
        for (int kind = 0; kind < 3; ++kind)
            EXPECT_EQ(kind == row.kind ? row.stored : "2001/01/01 00:00:00", Text(dates[kind])) << row.text;
    }
    EXPECT_EQ(-1, SetDate(3, "1980/01/02 03:04:05"));
}

TEST_F(OneCustomerDataTest, LimitsOfDates) {
    COleDateTime bad(2004, 2, 30, 0, 0, 0), early(2004, 1, 1, 0, 0, 0), late(2005, 1, 1, 0, 0, 0);
    COleDateTime const before(2003, 1, 1, 12, 34, 0), after(2006, 1, 1, 12, 34, 0);
    EXPECT_EQ(-1, customer.SetDate(1, bad, 1, &bad, &bad, &bad));
    EXPECT_EQ(-2, customer.SetDate(9, before, 1, &bad, &bad, &bad));
    EXPECT_EQ(-3, customer.SetDate(9, before, 1, &bad, &early, &bad));
    EXPECT_EQ(-4, customer.SetDate(9, before, 1, &bad, &early, &late));
    EXPECT_EQ(-1, customer.SetDate(9, before, 1, nullptr, &early, &late));
    const struct {
        COleDateTime date;
        int limit;
        COleDateTime *fallback, *lower, *upper;
        char const* stored;
    } rows[] = {
        {before, 0, &bad, &bad, &bad, "2003/01/01 12:34:00"},
        {before, 1, nullptr, &early, nullptr, "2004/05/06 07:08:09"},
        {after, 1, &early, nullptr, &late, "2004/01/01 00:00:00"},
        {late, 1, &early, &late, &late, "2005/01/01 00:00:00"},
    };
    for (auto const& row : rows) {
        EXPECT_EQ(0, customer.SetDate(1, row.date, row.limit, row.fallback, row.lower, row.upper));
        EXPECT_EQ(row.stored, Text(customer.GetEntryDate()));
    }
}

TEST_F(OneCustomerDataTest, Attributes) {
    EXPECT_EQ(0, customer.SetExtra(3, -5));
    EXPECT_EQ(0, customer.SetExtra(19, COleDateTime(2004, 2, 3, 4, 5, 6)));
    EXPECT_EQ(-1, customer.SetExtra(20, "x"));
    EXPECT_EQ(-1, customer.SetExtra(-1, 5));
    EXPECT_EQ(-3, customer.SetExtra(20, COleDateTime(2004, 2, 30, 0, 0, 0)));
    for (int count : {19, 21}) EXPECT_EQ(-1, customer.SetExtraAll(XCStringArrayEx(count)));
    EXPECT_EQ("-5,2004/02/03 04:05:06", customer.GetExtraD() + "," + customer.GetExtraT());
}

TEST_F(OneCustomerDataTest, CheckFlagCutsTexts) {
    char const* const dirty = "表\x81\x20ソ";
    customer.SetCompany(dirty);
    EXPECT_EQ(dirty, customer.GetCompany());
    customer.SetCheckCharacterCodeFlag(1);
    customer.SetCompany(dirty);
    EXPECT_EQ("表", customer.GetCompany());
    EXPECT_EQ(0, customer.SetPhone1("03\n"));
    EXPECT_EQ(0, customer.SetZipCode1("123\n"));
    EXPECT_EQ(0, customer.SetPrefecture("東京都\xFF"));
    EXPECT_EQ(0, customer.SetExtra(0, "x\ny"));
    EXPECT_EQ(0, SetDate(1, "1980/01/02 03:04:05\n"));
    EXPECT_EQ(
        "-1,,,,,,表,,2004/05/06 07:08:09,123,,東京都,,,,03,,,,,,N,,1980/01/02 03:04:05,"
        "2004/05/06 07:08:09,x,",
        All(customer));
    EXPECT_EQ(-1, customer.SetZipCode("1234567\n"));
    EXPECT_EQ("\n", Customer::ConvertUnusualData("\n", static_cast<_MYDB_DATATYPE>(3)));
    for (_MYDB_DATATYPE type : {mydb_string, mydb_number, mydb_date})
        EXPECT_EQ("", Customer::ConvertUnusualData("\n", type));
}

TEST_F(OneCustomerDataTest, CopiesGoThroughTheSetters) {
    Customer full;
    full.SetCheckCharacterCodeFlag(1);
    full.SetCustomerID(7);
    full.SetEmail("a@b.jp");
    full.SetKanjiSei("c"), full.SetKanjiMei("d"), full.SetKanaSei("e"), full.SetKanaMei("f");
    full.SetCompany("g"), full.SetCompanyPost("h");
    full.SetZipCode(1234567);
    full.SetPrefecture("沖縄県");
    full.SetAddress1("i"), full.SetAddress2("j"), full.SetBuilding("k");
    full.SetPhone1("1"), full.SetPhone2("2"), full.SetFax1("3"), full.SetFax2("4");
    full.SetPortable1("5"), full.SetPortable2("6");
    full.SetDMOk(1), full.SetDeleteFlag(1);
    for (int kind = 0; kind < 3; ++kind)
        full.SetDate(kind, COleDateTime(2001, 1, 1 + kind, 2, 3, 4), 0, nullptr, nullptr, nullptr);
    full.SetExtra(0, "A"), full.SetExtra(19, "T");
    Customer copy(full);
    EXPECT_EQ(
        "7,a@b.jp,c,d,e,f,g,h,2001/01/01 00:00:00,123,4567,沖縄県,i,j,k,1,2,3,4,5,6,Y,Y,"
        "2001/01/02 02:03:04,2001/01/03 02:03:04,A,T",
        All(copy));
    EXPECT_EQ(0, copy.IsCheckCharacterCode());

    customer.SetKanjiSei("表\n");
    EXPECT_EQ(&full, &Customer::Copy(full, customer));
    EXPECT_EQ(
        "7,a@b.jp,表,,,,,,2004/05/06 00:00:00,123,4567,<未選択>,,,,,,,,,,N,,"
        "2004/05/06 07:08:09,2004/05/06 07:08:09,,",
        All(full));
    EXPECT_EQ(1, full.IsCheckCharacterCode());
    EXPECT_EQ(-1, Customer(customer).GetCustomerID());
}

}  // namespace
