#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "platform/clock.h"
#include "tessaly/mailstore/mail_list_viewer.h"
#include "tessaly/platform/path.h"
#include "tests/mailstore/mail_environment.h"
#include "tests/platform/time_zone.h"
#include "tests/support/message_boxes.h"

namespace {

constexpr std::int64_t now_seconds = 1083827289;  // 2004/05/06 07:08:09

class MailListRepairTest : public testing::Test {
  protected:
    // The folder of a mail with these texts of its terminals.
    void PutMail(CString const& id, std::vector<std::string> const& bodies, std::string const& history = "") {
        platform::MakeDirectory(place.Path("MAIL\\" + id));
        std::string texts;
        for (std::string const& body : bodies)
            texts += "\"件" + std::to_string(texts.size()) + "\",\"" + body + "\"\r\n";
        PutTable(id, "mail", texts);
        PutTable(id, "meli", "");
        PutTable(id, "merd", "");
        if (!history.empty()) PutTable(id, "hist", history);
    }
    void PutTable(CString const& id, char const* part, std::string const& content) {
        ASSERT_TRUE(
            WriteTable(place.Path("MAIL\\" + id + "\\" + part + id + ".dat"), content, place.env.GetDBKey()));
    }
    CString Cell(int id, int column) {
        CString text;
        EXPECT_EQ(0, mails.GetMailDataPinPoint(id, column, text)) << id;
        return text;
    }

    TimeZone zone{"UTC"};
    platform::FrozenClock clock{{now_seconds, 0}};
    MailEnvironment place;
    MessageBoxes boxes;
    CMailListViewer mails;
};

TEST_F(MailListRepairTest, WholeFoldersWithoutARowComeBackOnce) {
    std::string const html = "Content-Type: multipart/alternative";
    PutMail(
        "0", {"本文"},
        "1,\"C\",2,\"Y\",\"id\",\"2004/05/05 00:00:00\"\r\n2,\"W\",-1,\"N\",\"\",\"2004/05/05 00:00:00\"\r\n"
        "3,\"E\",1,\"Y\",\"\",\"2004/05/05 00:00:00\"\r\n");
    PutMail("12", {html});
    PutMail("3", {"text", "x", "y", html});
    PutMail("007", {"no"});
    PutMail("5", {"half"});
    platform::RemoveFile(place.Path("MAIL\\5\\merd5.dat"));
    PutMail("99999999999", {"no"});
    PutMail("1000000000", {"far"});
    place.Put("MAIL\\4", "a file");
    timespec const changed[] = {{0, 0}, {now_seconds - 86400, 0}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, platform::HostPath(place.Path("MAIL\\0\\meli0.dat").View()).c_str(),
                           changed, 0));
    EXPECT_EQ(1, mails.SetEnvManager(&place.env));
    EXPECT_EQ(4, mails.CountMail());
    ASSERT_EQ(1U, boxes.Texts().size());
    EXPECT_EQ(
        "メールID: 0, 1000000000, 12, 3 "
        "を復旧しました\r\n\r\nなお、データの不足により、下記の項目は復旧できません\r\n"
        "[宛先名称] [敬称] [状態] [送信日時] [作成日時] [更新日時]\r\n"
        "これらの項目は、確認の上、必要があれば手動で修正をしてください",
        boxes.Texts()[0]);
    EXPECT_EQ("メール一覧にエラーがありました", boxes.Title());
    EXPECT_EQ(unsigned{MB_OK | MB_ICONINFORMATION}, boxes.Type());
    EXPECT_EQ("件0", Cell(0, CMailListViewer::column_title));
    EXPECT_EQ("（修復のため不明）", Cell(0, CMailListViewer::column_address_name));
    EXPECT_EQ("D", Cell(0, CMailListViewer::column_status));
    EXPECT_EQ("5", Cell(0, CMailListViewer::column_sent));
    EXPECT_EQ("4", Cell(0, CMailListViewer::column_errors));
    EXPECT_EQ("2", Cell(0, CMailListViewer::column_opened));
    EXPECT_EQ("2004/05/06 07:08:09", Cell(0, CMailListViewer::column_entry_date));
    EXPECT_EQ("2004/05/06 07:10:00", Cell(0, CMailListViewer::column_reserve_date));
    EXPECT_EQ("2004/05/05 07:08:09", Cell(0, CMailListViewer::column_set_address_date));
    EXPECT_EQ("NN", Cell(0, CMailListViewer::column_special_flag));
    EXPECT_EQ("NY", Cell(12, CMailListViewer::column_special_flag));
    EXPECT_EQ("NM", Cell(3, CMailListViewer::column_special_flag));
    CMailListViewer again(&place.env);  // from the file
    EXPECT_EQ(4, again.CountMail());
    EXPECT_EQ(1U, boxes.Texts().size());
}

TEST_F(MailListRepairTest, AMailOfUnknownStatusIsLostAndOthersStay) {
    PutMail("1", {"本文"});
    PutMail("2", {"本文"});
    std::string const rest = "\",\"\",\"\",\"\",\"0\",\"0\",\"0\",\"\",\"NN\",\"\"\r\n";
    ASSERT_TRUE(WriteTable(place.Path("MAIL\\maillist.dat"),
                           "\"1\",\"old\",\"\",\"?" + rest + "\"2\",\"kept\",\"\",\"S" + rest +
                               "\"3\",\"no folder\",\"\",\"C" + rest,
                           place.env.GetDBKey()));
    EXPECT_EQ(1, mails.SetEnvManager(&place.env));
    EXPECT_EQ(3, mails.CountMail());
    EXPECT_EQ("件0", Cell(1, CMailListViewer::column_title));
    EXPECT_EQ("kept", Cell(2, CMailListViewer::column_title));
    EXPECT_EQ(1U, boxes.Texts().size());
}

TEST_F(MailListRepairTest, NothingToDoWritesNothing) {
    platform::MakeDirectory(place.Path("MAIL\\ATEMP"));
    for (char const* part : {"mail", "meli", "merd"}) {
        PutMail("5", {"half"});
        platform::RemoveFile(place.Path("MAIL\\5\\" + CString(part) + "5.dat"));
        // A list of the earlier form: one that is written again has a column more.
        CString const list = place.Path("MAIL\\maillist.dat");
        ASSERT_TRUE(WriteTable(list,
                               R"("1","","","D","","","","0","0","0","","NN")"
                               "\r\n",
                               place.env.GetDBKey()));
        std::string before, after;
        ASSERT_TRUE(platform::ReadWholeFile(list, before));
        CMailListViewer viewer;
        EXPECT_EQ(1, viewer.SetEnvManager(&place.env));
        EXPECT_EQ(1, viewer.CountMail());
        ASSERT_TRUE(platform::ReadWholeFile(list, after));
        EXPECT_EQ(before, after) << part;
    }
    EXPECT_TRUE(boxes.Texts().empty());
}

TEST_F(MailListRepairTest, WhatCannotBeReadIsLeftOut) {
    PutMail("1", {"本文"}, "garbage\r\n\"");
    PutTable("1", "mail", "1,2,3\r\n4\r\n");
    EXPECT_EQ(1, mails.SetEnvManager(&place.env));
    EXPECT_EQ("", Cell(1, CMailListViewer::column_title));
    EXPECT_EQ("0", Cell(1, CMailListViewer::column_sent));
}

}  // namespace
