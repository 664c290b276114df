#include "tessaly/delivery/mail_size.h"

#include "tests/customers/customer_fixture.h"

namespace {

TEST_F(CustomerTest, SizeOfTheLongestMergedTextAndWhoseItIs) {
    for (char const* family : {"森", "林", "ｶﾞﾓ", "<b>", "abc\x88"}) Add("a@example.jp", family);
    constexpr char plain[] = "<%名前(姓)%>様";
    constexpr char html[] = "&lt;%名前(姓)%&gt;様";
    constexpr char open_end[] = "<%名前(姓)%>";
    std::tuple<char const*, int, int, std::vector<int>, int, int, char const*> const rows[] = {
        {plain, 0, 0, {99, 1, 0}, 4, 1, "林様"}, {plain, 0, 0, {0, 1, 2}, 5, 2, "ｶﾞﾓ様"},
        {plain, 0, 1, {0, 2}, 6, 2, "ｶﾞﾓ様"},    {html, 1, 0, {2, 3, 0}, 11, 3, "&lt;b&gt;様"},
        {plain, 1, 0, {0}, 14, 0, plain},        {open_end, 0, 1, {0, 4}, 4, 4, "abc\x88"}};
    CMailSize size(&db);
    for (auto const& [text, is_html, kana, customer_ids, longest, whose, merged] : rows) {
        SCOPED_TRACE(merged);
        CList<int, int> ids;
        for (int const id : customer_ids) ids.AddTail(id);
        size.SetTargetString(text, is_html);
        EXPECT_EQ(0, size.SetTargetCustomerByCustomerIDList(ids));
        EXPECT_EQ(0, size.Analyze(kana));
        EXPECT_EQ(longest, size.GetMaxSize());
        EXPECT_EQ(whose, size.GetMaxCustomerID());
        EXPECT_EQ(merged, size.GetMaxResultString());
    }
}

TEST_F(CustomerTest, SizeWithoutATargetIsNone) {
    Add("a@example.jp", "森");
    CMailSize size(&db);
    size.SetTargetString("<%名前(姓)%>", 0);
    OneCustomer customer;
    customer.CustomerID = 12;
    customer.KanjiSei = "佐々木";
    size.SetTargetCustomerByOneCustomer(customer);
    EXPECT_EQ(0, size.Analyze(0));
    EXPECT_EQ(12, size.GetMaxCustomerID());
    CString text;
    EXPECT_EQ(0, size.GetMaxResultString(text));
    EXPECT_EQ("佐々木", text);

    CArray<int, int> ids;
    ids.Add(98);
    ids.Add(99);
    EXPECT_EQ(-1, size.SetTargetCustomerByCustomerIDArray(ids));
    EXPECT_EQ(-1, size.Analyze(0));
    EXPECT_EQ(-1, size.GetMaxSize());
    EXPECT_EQ(-1, size.GetMaxCustomerID());
    EXPECT_EQ(-1, size.GetMaxResultString(text));
    EXPECT_EQ("佐々木", text);  // as it was
    EXPECT_TRUE(size.GetMaxResultString().IsEmpty());
    EXPECT_EQ(0, size.SetTargetCustomerByCustomerID(0));
    EXPECT_EQ(-1, size.SetTargetCustomerByCustomerID(99));
    CMailSize no_database(nullptr);
    EXPECT_EQ(-2, no_database.SetTargetCustomerByCustomerID(0));
}

}  // namespace
