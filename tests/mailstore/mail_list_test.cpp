#include "tessaly/mailstore/mail_list_viewer.h"

#include <gtest/gtest.h>

#include <vector>

#include "platform/clock.h"
#include "tests/mailstore/mail_environment.h"
#include "tests/platform/time_zone.h"
#include "tests/support/message_boxes.h"

namespace {

constexpr std::int64_t now_seconds = 1083827289;
constexpr char const* now_text = "2004/05/06 07:08:09";
constexpr char const* before = "2004/05/05 00:00:00";
constexpr char const* later = "2005/01/01 00:00:00";

std::string RowText(char const* id, char const* status, char const* date = before, char const* flag = "NN") {
    std::string const q = "\",\"";
    return "\"" + std::string(id) + q + "件" + q + "名" + q + status + q + date + q + date + q + date + q +
           "1" + q + "2" + q + "3" + q + date + q + flag + q + "様\"\r\n";
}

class MailListTest : public testing::Test {
  protected:
    void Load(std::string const& rows) {
        ASSERT_TRUE(WriteTable(place.Path("MAIL\\maillist.dat"), rows, place.env.GetDBKey()));
        if (mails.GetEnvManager())
            mails.ReadMailList();
        else
            EXPECT_EQ(1, mails.SetEnvManager(&place.env));
    }
    std::string Status(int id) {
        CString status;
        mails.GetMailDataPinPoint(id, CMailListViewer::column_status, status);
        return std::string(status.View());
    }
    static std::string Text(COleDateTime const& date) {
        return std::string(date.Format("%Y/%m/%d %H:%M:%S").View());
    }

    TimeZone zone{"UTC"};
    platform::FrozenClock clock{{now_seconds, 0}};
    MailEnvironment place;
    CMailListViewer mails;
};

TEST_F(MailListTest, ReadsItsFormsAndNamesWhatItCannotRead) {
    EXPECT_EQ(-2, mails.ReadMailList());
    EXPECT_EQ(-1, mails.CountMail());
    EXPECT_EQ(-1, mails.WriteMailList(1));
    EXPECT_EQ(1, mails.SetEnvManager(&place.env));
    EXPECT_EQ(0, mails.SetEnvManager(&place.env));
    EXPECT_EQ(0, mails.CountMail());
    std::string const old = RowText("7", "D").replace(RowText("7", "D").find(",\"様\""), 5, "");
    Load(old);
    CString text;
    EXPECT_EQ(0, mails.GetMailDataPinPoint(7, 12, text));
    EXPECT_EQ("", text);
    for (auto const& [content, result] : {std::pair{"1,2\r\n", -7}, {"\r\n", -8}}) {
        ASSERT_TRUE(WriteTable(place.Path("MAIL\\maillist.dat"), content, place.env.GetDBKey()));
        EXPECT_EQ(result, mails.ReadMailList()) << content;
    }
    platform::RemoveFile(place.Path("MAIL\\maillist.dat"));
    EXPECT_EQ(-3, mails.ReadMailList());
    // a table of another width
    ASSERT_TRUE(WriteTable(place.Path("MAIL\\maillist.dat"), "\"1\",\"title\"\r\n", place.env.GetDBKey()));
    mails.CMyDB::Init();
    mails.SetElementNumber(2);
    EXPECT_EQ(-3, mails.ReadMailList());
    COneMailData data;
    EXPECT_EQ(0, mails.GetMailData(1, data));
    EXPECT_EQ("title", data.GetMailTitle());
    EXPECT_EQ(0, mails.CountMailByMailStatus(0, nullptr, 1));
    EXPECT_EQ(-2, mails.Update4AddHtmlMailAbility());
    platform::RemoveFile(place.Path("MAIL\\maillist.dat"));
    CMailListViewer unread;
    EXPECT_EQ(0, unread.SetEnvManager(&place.env));
    MessageBoxes const boxes;
    EXPECT_THROW(CMailListViewer{nullptr}, CUserException);
    EXPECT_EQ(std::vector<std::string>{"メール一覧情報へ環境を設定できませんでした"}, boxes.Texts());
}

TEST_F(MailListTest, RowsByIdWhateverHappensToThem) {
    Load(RowText("5", "W") + RowText("007", "D") + RowText("5", "C") + RowText("-1", "R"));
    EXPECT_EQ("W", Status(5));  // the first of two
    EXPECT_EQ(1, mails.FindMailData(7));
    EXPECT_EQ(0, mails.FindMailData(-1));
    EXPECT_EQ(0, mails.RemoveMailData(5));
    EXPECT_EQ("C", Status(5));
    COneMailData data;
    data.SetMailID(9);
    data.SetStatus("D", 0);
    EXPECT_EQ(0, mails.SetMailData(data));
    EXPECT_EQ(0, mails.DeleteMailData(9));
    EXPECT_EQ("S", Status(9));
    EXPECT_EQ(0, mails.UnDeleteMailData(5));
    EXPECT_EQ("D", Status(5));
    EXPECT_EQ(0, mails.SetMailDataPinPoint(9, CMailListViewer::column_id, "12"));
    EXPECT_EQ(1, mails.FindMailData(9));
    EXPECT_EQ(0, mails.FindMailData(12));
    EXPECT_EQ(4, mails.CountMail());
    for (int const id : {9, 77}) {
        EXPECT_EQ(-1, mails.DeleteMailData(id));
        EXPECT_EQ(-1, mails.RemoveMailData(id));
        EXPECT_EQ(-1, mails.GetMailData(id, data));
        EXPECT_EQ(-1, mails.SetMailDataPinPoint(id, 0, ""));
        EXPECT_EQ(-2, mails.SetMailDataPinPoint(id, 13, ""));
        CString text = "old";
        EXPECT_EQ(-1, mails.GetMailDataPinPoint(id, 13, text));
        EXPECT_EQ("", text);
    }
}

TEST_F(MailListTest, CountsByStatusAndView) {
    Load(RowText("0", "D") + RowText("1", "W") + RowText("2", "R") + RowText("3", "A") + RowText("4", "I") +
         RowText("5", "C") + RowText("6", "E") + RowText("7", "S") + RowText("8", "B") + RowText("9", "x") +
         RowText("10", ""));
    const struct {
        unsigned long mask;
        std::vector<int> ids;
    } views[] = {{1, {0, 1, 2, 3, 4, 5, 6, 8}},  {2, {0}},  {4, {1, 2, 3, 4, 8}}, {8, {5, 6}},
                 {16, {0, 1, 2, 3, 4, 5, 6, 8}}, {32, {7}}, {34, {0, 7}},         {64, {}}};
    for (auto const& view : views) {
        CArray<int, int> ids;
        EXPECT_EQ(static_cast<int>(view.ids.size()), mails.CountMailByViewType(view.mask, &ids));
        EXPECT_EQ(view.ids, (std::vector<int>{ids.begin(), ids.end()})) << view.mask;
    }
    EXPECT_EQ(9, mails.CountMailByMailStatus(0, nullptr, 1));
    EXPECT_EQ(8, mails.CountMailByMailStatus(128, nullptr, 1));
    EXPECT_EQ(2, mails.CountMailByMailStatus(2 | 256, nullptr, 0));
}

TEST_F(MailListTest, AMailReadsAsThePresentWhereItsDatesLieAhead) {
    Load(RowText("3", "C", later, "NMX") + RowText("4", "?", "garbage", "Y"));
    COneMailData data;
    EXPECT_EQ(0, mails.GetMailData(3, data));
    EXPECT_EQ(1, data.IsCheckCharacterCode());
    for (COleDateTime const& date : {data.GetEntryDate(), data.GetRenewalDate(), data.GetSetAddressDate()})
        EXPECT_EQ(now_text, Text(date));
    EXPECT_EQ(later, Text(data.GetReserveDate()));
    EXPECT_EQ("", data.GetSpecialFlag());  // of three characters
    EXPECT_EQ(' ', data.GetSpecialAddressFlag());
    EXPECT_EQ(std::tuple(1, 2, 3),
              std::tuple(data.GetSentNumber(), data.GetErrorNumber(), data.GetOpenNumber()));
    EXPECT_EQ(0, mails.GetMailData(4, data));
    EXPECT_EQ("C", data.GetStatus());  // refused, so it stays
    EXPECT_EQ(now_text, Text(data.GetReserveDate()));
    EXPECT_EQ('Y', data.GetSpecialAddressFlag());
    EXPECT_EQ(' ', data.GetTextOrHtmlMailFlag());
}

TEST_F(MailListTest, NewIdsAndMailsMadeFromOthers) {
    std::string rows;
    for (int id = 0; id < 201; ++id) rows += RowText(std::to_string(id).c_str(), "C");
    Load(rows);
    EXPECT_EQ(-1, mails.GetNewMailID());
    EXPECT_EQ(201, mails.GetNewMailID());
    COneMailData copy;
    EXPECT_EQ(-1, mails.GetMailDataForReprint(999, copy));
    EXPECT_EQ(0, mails.GetMailDataForReprint(5, copy));
    EXPECT_EQ(202, copy.GetMailID());
    EXPECT_EQ("YN", copy.GetSpecialFlag());
    EXPECT_EQ("D", Status(202));
    COneMailData read;
    EXPECT_EQ(0, mails.GetMailData(202, read));
    EXPECT_EQ(now_text, Text(read.GetEntryDate()));
    EXPECT_EQ(now_text, Text(read.GetRenewalDate()));
    EXPECT_EQ(before, Text(read.GetSetAddressDate()));
    EXPECT_EQ(0, read.GetSentNumber() + read.GetErrorNumber() + read.GetOpenNumber());
    EXPECT_EQ(1, mails.Init());
    EXPECT_EQ(-1, mails.GetNewMailID());  // without an environment
}

TEST_F(MailListTest, WhatIsWrittenAndWhen) {
    Load(RowText("1", "D", before, "") + RowText("2", "D", before, "Y") + RowText("3", "D", before, "YM") +
         RowText("3", "D", before, ""));
    platform::RemoveFile(place.Path("MAIL\\maillist.dat"));
    EXPECT_EQ(0, mails.WriteMailList(0));
    EXPECT_FALSE(place.Has("MAIL\\maillist.dat"));
    mails.DeleteMailData(1);
    EXPECT_EQ(0, mails.WriteFromMemoryToFileAppointFileName(place.Path("copy.dat"), nullptr));
    platform::FailWritesAfter(0);
    EXPECT_EQ(-1, mails.WriteMailList(0));
    EXPECT_EQ(-4, mails.Update4AddHtmlMailAbility());
    platform::FailWritesAfter(-1);
    EXPECT_EQ(0, mails.Update4AddHtmlMailAbility());
    CMailListViewer again(&place.env);
    for (auto const& [id, flag] : {std::pair{1, "NN"}, {2, "YN"}, {3, "YM"}}) {
        CString text;
        EXPECT_EQ(0, again.GetMailDataPinPoint(id, CMailListViewer::column_special_flag, text));
        EXPECT_EQ(flag, text);
    }
}

TEST_F(MailListTest, WithoutAKeyOnlyChangesAreWritten) {
    EnvManager plain;
    plain.InitEnvFileInfo(place.file, nullptr, 0);
    ASSERT_TRUE(WriteTable(place.Path("MAIL\\maillist.dat"), RowText("1", "D")));
    EXPECT_EQ(1, mails.SetEnvManager(&plain));
    platform::RemoveFile(place.Path("MAIL\\maillist.dat"));
    EXPECT_EQ(0, mails.WriteMailListCompel());
    EXPECT_FALSE(place.Has("MAIL\\maillist.dat"));
    mails.DeleteMailData(1);
    EXPECT_EQ(0, mails.WriteMailList(0));
    EXPECT_EQ(RowText("1", "S"), TableContentOf(place.Path("MAIL\\maillist.dat")));
}

TEST(OneMailDataTest, SettersJudgeWhatTheyAreGiven) {
    COneMailData data;
    EXPECT_EQ(-1, data.SetMailID(-1));
    EXPECT_EQ(-1, data.SetSentNumber("-5"));
    EXPECT_EQ(-1, data.SetStatus("X", 0));
    EXPECT_EQ("", data.GetStatus());
    EXPECT_EQ(0, data.SetStatus("DD", 1));
    EXPECT_EQ("D", data.GetStatus());
    EXPECT_EQ(-1, data.SetSpecialFlag("abc"));
    EXPECT_EQ(-1, data.SetSpecialFlag(2, "a"));
    EXPECT_EQ(-2, data.SetSpecialFlag(0, "ab"));
    EXPECT_EQ(0, data.SetSpecialFlag(1, "Y"));
    EXPECT_EQ(0, data.SetSpecialFlag(1, "M"));
    EXPECT_EQ(0, data.SetSpecialFlag(0, "N"));
    EXPECT_EQ("NM", data.GetSpecialFlag());
    data.SetCheckCharacterCodeFlag(1);
    data.SetMailTitle("表\nソ");
    EXPECT_EQ("表", data.GetMailTitle());
    EXPECT_EQ("a\n", COneMailData::ConvertUnusualData("a\n", static_cast<_MYDB_DATATYPE>(3)));
    COneMailData copy(data);
    EXPECT_EQ("NM", copy.GetSpecialFlag());
    COneMailData assigned;
    assigned = copy;
    EXPECT_EQ("NM", assigned.GetSpecialFlag());
}

TEST(OneMailDataTest, DatesAndTheirLimits) {
    COleDateTime bad(2004, 2, 30, 0, 0, 0), early(2004, 1, 1, 0, 0, 0), late(2005, 1, 1, 0, 0, 0),
        date(2003, 1, 1, 0, 0, 0);
    COneMailData data;
    EXPECT_EQ(-1, data.SetDate(0, bad, 0, nullptr, nullptr, nullptr));
    EXPECT_EQ(-2, data.SetDate(9, date, 1, &bad, &bad, &bad));
    EXPECT_EQ(-3, data.SetDate(9, date, 1, &bad, &early, &bad));
    EXPECT_EQ(-4, data.SetDate(9, date, 1, &bad, &early, &late));
    EXPECT_EQ(-1, data.SetDate(4, date, 1, nullptr, &early, &late));
    EXPECT_EQ(0, data.SetDate(2, date, 1, &late, &early, nullptr));
    EXPECT_EQ(2005, data.GetReserveDate().GetYear());
    EXPECT_EQ(0, data.SetDate(2, date, 0, &bad, &bad, &bad));
    EXPECT_EQ(2003, data.GetReserveDate().GetYear());
}

}  // namespace
