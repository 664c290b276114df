#include "tessaly/delivery/mail_word_insert.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>

namespace {

using std::string;

OneCustomer Sample() {
    OneCustomer customer;
    customer.CustomerID = 42;
    customer.Email = "taro@example.jp";
    customer.KanjiSei = "山田";
    customer.KanjiMei = "太郎";
    customer.KanaSei = "やまだ";
    customer.KanaMei = "たろう";
    customer.Company = "表&裏 商事";
    customer.CompanyPost = "営業部";
    customer.Birthday = "1970/02/28 12:34:56";
    customer.ZipCode1 = "1000001";
    customer.Prefecture = "東京都";
    customer.Address1 = "千代田区";
    customer.Address2 = "千代田1-1";
    customer.Fax1 = "03-0000-0001";
    customer.Portable1 = "090-0000-0000";
    customer.ExtraA = "<%会社名%>";
    customer.ExtraT = "\"<T>\"";
    customer.EntryDate = COleDateTime(2004, 2, 29, 9, 5, 0);
    customer.RenewalDate = COleDateTime(2005, 12, 31, 23, 59, 59);
    return customer;
}

string Merge(string const& origin, int html = 0) {
    CString const merged = MailWordInsert::GetMailWordInsert(Sample(), origin.c_str(), html);
    MailWordInsert held(origin.c_str());
    EXPECT_EQ(held.GetMailWordInsert(Sample(), html), merged);
    return static_cast<char const*>(merged);
}

string InHtml(string word) { return "&lt;%" + word.substr(2, word.size() - 4) + "%&gt;"; }

TEST(MailWordInsert, ValuesOfEveryWord) {
    const struct {
        int id;
        char const* value;
    } rows[] = {{0, "42"},
                {1, "taro@example.jp"},
                {2, "山田"},
                {3, "太郎"},
                {4, "やまだ"},
                {5, "たろう"},
                {6, "表&裏 商事"},
                {7, "営業部"},
                {8, "1970/02/28"},
                {9, "1000001"},
                {11, "東京都"},
                {12, "千代田区"},
                {13, "千代田1-1"},
                {15, ""},
                {17, "03-0000-0001"},
                {19, "090-0000-0000"},
                {28, "<%会社名%>"},
                {29, ""},
                {47, "\"<T>\""},
                {54, "2004/02/29 09:05:00"},
                {55, "2005/12/31 23:59:59"}};
    for (auto const& row : rows) {
        string const word = MailWordInsert::itsMailInsertDefinition[row.id].insert_string;
        EXPECT_EQ(Merge("[" + word + "]"), "[" + string(row.value) + "]") << row.id;
    }
    // The twenty attributes in order: each word reads the member of its letter.
    OneCustomer customer;
    CString* member = &customer.ExtraA;
    string origin, expected;
    for (int letter = 0; letter < 20; ++letter, ++member) {
        member->Format("%d;", letter);
        origin += MailWordInsert::itsMailInsertDefinition[28 + letter].insert_string;
        expected += static_cast<char const*>(*member);
    }
    EXPECT_EQ(MailWordInsert::GetMailWordInsert(customer, origin.c_str(), 0), expected);
}

TEST(MailWordInsert, BirthdayLosesOnlyItsTime) {
    const struct {
        char const *stored, *merged;
    } rows[] = {{"", " "},
                {"1970/2/8", "1970/2/8"},
                {"1970/02/28", "1970/02/28"},
                {"1970/02/28 12", "1970/02/28"},
                {"1970/02/28 12:34:56", "1970/02/28"},
                {"1970/02/28 12:34:56 JST", "1970/02/28 JST"}};
    for (auto const& row : rows) {
        OneCustomer customer;
        customer.Birthday = row.stored;
        EXPECT_STREQ(MailWordInsert::GetMailWordInsert(customer, "<%生年月日%>", 0), row.merged);
    }
}

TEST(MailWordInsert, WhatIsAndIsNotMerged) {
    const struct {
        string in, plain, html;
    } rows[] = {{"", "", ""},
                {"no word", "no word", "no word"},
                {"<%電話番号%>", " ", "<%電話番号%>"},
                {"&lt;%電話番号%&gt;", "&lt;%電話番号%&gt;", " "},
                {"<%電話番号%>.", ".", "<%電話番号%>."},
                {"<%会社名%>", "表&裏 商事", "<%会社名%>"},
                {"&lt;%会社名%&gt;", "&lt;%会社名%&gt;", "表&amp;裏&nbsp;商事"},
                {"&lt;%拡張属性T%&gt;", "&lt;%拡張属性T%&gt;", "&quot;&lt;T&gt;&quot;"},
                {"&lt;%拡張属性A%&gt;", "&lt;%拡張属性A%&gt;", "&lt;%会社名%&gt;"},
                {"<%会社名", "<%会社名", "<%会社名"},
                {"<%会社名%", "<%会社名%", "<%会社名%"},
                {"<%会社名%%>", "<%会社名%%>", "<%会社名%%>"},
                {"&lt;%会社名%>", "&lt;%会社名%>", "&lt;%会社名%>"},
                {"<%未知の言葉%><%名前(姓)%>様", "<%未知の言葉%>山田様", "<%未知の言葉%><%名前(姓)%>様"},
                {"<%<%名前(名)%>%>", "<%太郎%>", "<%<%名前(名)%>%>"},
                {"<%郵便番号(上3桁)%>", "<%郵便番号(上3桁)%>", "<%郵便番号(上3桁)%>"},
                {"<%DM送付可否%><%余白1%>", "<%DM送付可否%><%余白1%>", "<%DM送付可否%><%余白1%>"},
                {"<%拡張属性U%><%拡張属性a%>", "<%拡張属性U%><%拡張属性a%>", "<%拡張属性U%><%拡張属性a%>"},
                {"<%", "<%", "<%"},
                {"<%%>", "<%%>", "<%%>"},
                {"100%<<%個人情報ID%>%>", "100%<42%>", "100%<<%個人情報ID%>%>"}};
    for (auto const& row : rows) {
        EXPECT_EQ(Merge(row.in, 0), row.plain) << row.in;
        EXPECT_EQ(Merge(row.in, 1), row.html) << row.in;
    }
    EXPECT_TRUE(MailWordInsert().GetMailWordInsert(Sample(), 0).IsEmpty());
    EXPECT_TRUE(MailWordInsert::GetMailWordInsert(Sample(), nullptr, 1).IsEmpty());
    string const many(200000, '<');
    EXPECT_EQ(Merge(many), many);
}

// A search row by row, to compare with the look-up.
int PlainLookUp(string const& text, int html) {
    for (int id = 0; id < MailWordInsert::word_count; ++id) {
        string const word = MailWordInsert::itsMailInsertDefinition[id].insert_string;
        if (!word.empty() && text.starts_with(html ? InHtml(word) : word)) return id;
    }
    return -1;
}

TEST(MailWordInsert, LookUpAgreesWithTheTable) {
    std::mt19937 random(7);
    int found = 0;
    for (int round = 0; round < 30000; ++round) {
        int const html = static_cast<int>(random() % 2);
        string text = MailWordInsert::itsMailInsertDefinition[random() % 56].insert_string;
        if (html && !text.empty()) text = InHtml(text);
        if (!text.empty() && random() % 2) text[random() % text.size()] = "%<>ABT&\x8E\xBC"[random() % 9];
        if (random() % 8 == 0) text.resize(random() % (text.size() + 1));
        text += random() % 2 ? "%>x" : "";
        int const id = PlainLookUp(text, html);
        found += id >= 0;
        ASSERT_EQ(MailWordInsert::GetIDFromInsertString(text.c_str(), html), id) << text;
    }
    EXPECT_GT(found, 5000);
    for (char const* const nothing : {"", static_cast<char const*>(nullptr)})
        for (int const html : {0, 1}) EXPECT_EQ(MailWordInsert::GetIDFromInsertString(nothing, html), -1);
}

TEST(MailWordInsert, MenuStringsByPrefix) {
    const struct {
        char const* text;
        int id;
    } rows[] = {{"個人情報ID", 0}, {"余白1", 23},    {"余白10", 23},   {"余白6", 48},
                {"余白9です", 51}, {"余白", -1},     {"更新日時", 55}, {"DM以外送付可否", 22},
                {"拡張属性A", -1}, {"知らない", -1}, {"", -1},         {nullptr, -1}};
    for (auto const& row : rows) EXPECT_EQ(MailWordInsert::GetIDFromMenuString(row.text), row.id);
    EXPECT_EQ(MailWordInsert::itsMailInsertDefinition[56].menu_string, nullptr);
    EXPECT_EQ(MailWordInsert::itsMailInsertDefinition[56].insert_string, nullptr);
}

TEST(MailWordInsert, EarlierWords) {
    CArray<CString, CString> found;
    found.Add(CString("left over"));
    MailWordInsert::CheckOldMailWord("<%番地以下%> &lt;%建物名等%&gt;", found);
    EXPECT_EQ(found.GetSize(), 0);
    MailWordInsert::CheckOldMailWord("<%携帯番号(0*0)%><%番地%><%番地%>表<%番地%><%FAX番号(市内局番以下)%>",
                                     found);
    ASSERT_EQ(found.GetSize(), 3);
    EXPECT_STREQ(found[0], "<%番地%>");
    EXPECT_STREQ(found[1], "<%FAX番号(市内局番以下)%>");
    EXPECT_STREQ(found[2], "<%携帯番号(0*0)%>");
}

}  // namespace
