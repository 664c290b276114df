#include "tessaly/reception/mail_analyzer.h"

#include <gtest/gtest.h>

#include "platform/clock.h"
#include "tests/platform/time_zone.h"

namespace {

constexpr std::int64_t now_seconds = 1083827289;  // 2004/05/06 07:08:09 UTC

class MailAnalyzerTest : public testing::Test {
  protected:
    MailAnalyzer& Analysed(std::string const& mail, bool empty_registers = false,
                           char const* keyword = nullptr) {
        analyzer.InitMember();
        analyzer.SetResistWithEmpty(empty_registers);
        analyzer.SetRefuseWithKeyword(keyword != nullptr, keyword ? keyword : "");
        analyzer.SetMailData(CString(std::string_view(mail)));
        EXPECT_EQ(0, analyzer.MailAnalysis());
        return analyzer;
    }
    static std::string Report(char const* type, std::string const& parts) {
        return "From: x@y\r\nContent-Type: multipart/report; report-type=" + std::string(type) +
               "; boundary=b\r\n\r\n--b\r\n\r\ntext\r\n" + parts + "--b--\r\n";
    }

    TimeZone zone{"UTC"};
    platform::FrozenClock clock{{now_seconds, 0}};
    MailAnalyzer analyzer;
};

TEST_F(MailAnalyzerTest, KindsInTheirOrder) {
    const struct {
        std::string mail;
        int type;
    } rows[] = {
        {"From: a@b\r\n\r\nhello", -1},
        {"no header", -1},
        {Report("disposition-notification", ""), 2},
        {Report("\"Disposition-Notification\"", ""), 2},
        {Report("\"disposition-notification", ""), -1},
        {Report("delivery-status", ""), -1},
        {"From: Mailer-Daemon@x\r\n\r\nsay <refuse> please\r\n", 3},
        {"From: a@b\r\n\r\nx\r\n<REFUSE>", -1},
        {"From: a@b\r\n\r\nもう配信停止を\r\n", 3},
        {"From: a@b\r\n\r\n<register><EMAIL>", 4},
        {"From: a@b\r\n\r\n \t\r\n　\r\n.\r\n", 4},
        {"From: a@b\r\n\r\n\r\n.x", 4},
        {"From: a@b\r\n\r\nx.", -1},
        {"From: PostMaster@x\r\n\r\nx", 1},
        {"From: <mail.delivery.subsystem@x>\r\n\r\nx", 1},
        {"From: a.postmaster@x\r\n\r\nx", -1},
        {"From: a@b\r\nSubject: unRETURNED e-MAIL\r\n\r\nx", 1},
        {"From: a@b\r\nSubject: mail could not be x\r\n\r\nx", -1},
    };
    for (auto const& row : rows)
        EXPECT_EQ(row.type, Analysed(row.mail, true, "配信停止").GetMailType()) << row.mail;
    const struct {
        char const *keyword, *body;
        int type;
    } refusals[] = {{"キク", "ネハ", -1},  {"キ", "＜L", -1},       {"キク", "aキクa", 3},
                    {"Stop", "ソsTOP", 3}, {"ｓＴ", "ＳＴＯＰ", 3}, {"停止", "停\r\n止", -1}};
    for (auto const& row : refusals)
        EXPECT_EQ(row.type,
                  Analysed("From: a@b\r\n\r\n" + std::string(row.body), false, row.keyword).GetMailType())
            << row.keyword << " " << row.body;
    EXPECT_EQ(-1, Analysed("From: a@b\r\n\r\n \r\n.\r\n").GetMailType());
    EXPECT_EQ(-1, Analysed("From: a@b\r\n\r\n配信停止").GetMailType());
    Analysed("From: \"q\" <a@b>\r\n\r\n", true);
    EXPECT_EQ("<REGISTER><EMAIL>a@b</EMAIL>", analyzer.GetDecodeMailBody());
    EXPECT_EQ(-1, analyzer.MailAnalysis("Content-Type: multipart/x\r\n\r\n"));
}

TEST_F(MailAnalyzerTest, MessageIds) {
    std::pair<char const*, char const*> const rows[] = {
        {" <a@b>", "a@b"}, {"<a@b>", ""}, {" a @ b ", "a@b"}, {" a@b>", "a@b"},        {" <a@b", "a@b"},
        {" >a<", ""},      {" <>", ""},   {" <", ""},         {" x <a> <b>", "a> <b"}, {"", ""}};
    for (auto const& [value, id] : rows)
        EXPECT_EQ(id, Analysed("Message-ID:" + std::string(value) + "\r\n\r\n").GetMessageID()) << value;
    EXPECT_EQ("c", Analysed("message-id:<a>\r\nMESSAGE-ID: <c>\r\n\r\n").GetMessageID());
    std::pair<char const*, char const*> const originals[] = {
        {"References: <a@b> <c@d>", "c@d"},
        {"In-Reply-To: <e@f>\r\nReferences: (x <n>) <a@b> \"<q>\"", "a@b"},
        {"In-Reply-To: =?x?Q?<q>?= <e@f", ""},
        {"In-Reply-To: Your mail <e@f> of", "e@f"},
        {"X: y", ""}};
    for (auto const& [header, id] : originals)
        EXPECT_EQ(id, Analysed(std::string(header) + "\r\n\r\nx").GetOriginalMessageID()) << header;
}

TEST_F(MailAnalyzerTest, OriginalsOfReceiptsAndBounces) {
    std::string const receipt =
        "--b\r\nContent-Type: message/disposition-notification\r\n\r\nFinal-Recipient: x\r\n"
        "ORIGINAL-message-id: <o@p>\r\nDisposition: displayed\r\n";
    EXPECT_EQ("o@p", Analysed(Report("disposition-notification", receipt)).GetOriginalMessageID());
    std::string const from = "From: mailer-daemon@x\r\nReferences: <r@s>\r\n";
    std::string const head =
        from + "Content-Type: multipart/report; boundary=b\r\n\r\n--b\r\n\r\ntext\r\n--b\r\n";
    std::string const copy = "Content-Type: message/rfc822\r\n\r\nMessage-ID: <i@j>\r\n\r\nx\r\n--b--";
    std::string const headers =
        "Content-Type: text/rfc822-headers\r\n\r\nSubject: x\r\nMessage-Id: <k@l>\r\n\r\n--b--";
    EXPECT_EQ("i@j", Analysed(head + copy).GetOriginalMessageID());
    EXPECT_EQ("k@l", Analysed(head + headers).GetOriginalMessageID());
    EXPECT_EQ(
        "r@s",
        Analysed(head + "Content-Type: text/x\r\n\r\nMessage-Id: <k@l>\r\n--b--").GetOriginalMessageID());
    std::string const qmail = from +
                              "\r\nHi.\r\n--- Below this line is a copy of the message.\r\n\r\nA: b\r\n"
                              "Message-ID: <m@n>\r\n\r\nMessage-ID: <no@no>\r\n";
    EXPECT_EQ("m@n", Analysed(qmail).GetOriginalMessageID());
    std::string const rejected =
        from + "\r\nEach of the following recipients was rejected by a remote mail server.\r\n" +
        std::string(51, '-') + "\r\nMessage-ID: <m@n>";
    EXPECT_EQ("m@n", Analysed(rejected).GetOriginalMessageID());
    EXPECT_EQ("r@s", Analysed(from + "\r\nMessage-ID: <m@n>\r\n").GetOriginalMessageID());
}

TEST_F(MailAnalyzerTest, Reports) {
    auto const part = [](char const* type, char const* fields) {
        return "--b\r\nContent-Type: message/" + std::string(type) + "\r\n\r\n" + fields + "\r\n";
    };
    const struct {
        std::string parts;
        char const *action, *status, *code, *recipient, *disposition, *original;
    } rows[] = {
        {part("delivery-status",
              "Reporting-MTA: dns; x\r\n\r\nFinal-Recipient: rfc822; a@b\r\naction:Failed\r\n"
              "Status: 5.1.1 \r\nDiagnostic-Code: smtp;\r\n\t550 no such\r\n user\r\n"),
         "Failed", "5.1.1", "smtp;\t550 no such user", "rfc822; a@b", "", ""},
        // The first value counts, a part that lacks a field leaves it to the next one, and a longer name or a
        // field inside of a line is another.
        {part("DELIVERY-STATUS", "X-Action: x\r\nActions: x\r\n\r\nAction:\r\nAction: failed") +
             part("delivery-status", "Status: 4.4.1\r\nStatus: 5.0.0"),
         "", "4.4.1", "", "", "", ""},
        {part("disposition-notification", "Original-Message-ID:\r\n <o@p>\r\nDisposition: x; deleted"), "",
         "", "", "", "x; deleted", "o@p"},
        {part("rfc822", "Action: failed"), "", "", "", "", "", ""},
    };
    for (auto const& row : rows) {
        Analysed(Report("x", row.parts));
        DeliveryReport const& delivery = analyzer.GetDeliveryReport();
        EXPECT_EQ(row.action, delivery.action) << row.parts;
        EXPECT_EQ(row.status, delivery.status) << row.parts;
        EXPECT_EQ(row.code, delivery.diagnostic_code) << row.parts;
        EXPECT_EQ(row.recipient, delivery.final_recipient) << row.parts;
        EXPECT_EQ(row.disposition, analyzer.GetDispositionReport().disposition) << row.parts;
        EXPECT_EQ(row.original, analyzer.GetDispositionReport().original_message_id) << row.parts;
    }
}

TEST_F(MailAnalyzerTest, AddressesSubjectsAndDates) {
    std::pair<char const*, char const*> const addresses[] = {{"From: \"a <x@y>\" <b@c>", "b@c"},
                                                             {"From: b@c (name <x@y>)", "b@c"},
                                                             {"From: b@c, d@e", "b@c"},
                                                             {"From: =?ISO-2022-JP?B?PHg+?= <b@c", "b@c"},
                                                             {"Sender: s@t\r\nReturn-Path: <r@p>", "s@t"},
                                                             {"Return-Path: <r@p>", "r@p"},
                                                             {"X: y", ""}};
    for (auto const& [header, address] : addresses)
        EXPECT_EQ(address, Analysed(std::string(header) + "\r\n\r\nx").GetFromAddress()) << header;
    EXPECT_EQ("ソ x", Analysed("Subject: =?ISO-2022-JP?B?GyRCJT0bKEI=?= x\r\n\r\n").GetDecodeMailSubject());
    zone.Set("JST-9");
    std::pair<char const*, char const*> const dates[] = {
        {"Tue, 05 Oct 2004 00:00:00 +0900", "2004/10/05 00:00:00"},
        {"5 Oct 2004 0:0 GMT (x, y)", "2004/10/05 09:00:00"},
        {"Tue, 5 Oct 2004 23 : 59 : 59 -0100", "2004/10/06 09:59:59"},
        {"5 Oct 2004 00:00:00 A", "2004/10/05 08:00:00"},
        {"5 Oct 2004 00:00:00 M", "2004/10/04 21:00:00"},
        {"5 Oct 2004 00:00:00 N", "2004/10/05 10:00:00"},
        {"5 Oct 2004 00:00:00 Y", "2004/10/05 21:00:00"},
        {"5 Oct 2004 00:00:00 XYZ", "2004/10/05 09:00:00"},
        {"5 OCT 2004 00:00:00 GMT", "2004/05/06 16:08:09"},
        {"5 Oct 2004 00:00:00", "2004/05/06 16:08:09"},
        {"32 Oct 2004 00:00:00 GMT", "2004/05/06 16:08:09"},
        {"5 Oct", "2004/05/06 16:08:09"},
        {"31 Dec 9999 23:59:59 -9900", "2004/05/06 16:08:09"}};
    for (auto const& [date, local] : dates)
        EXPECT_EQ(
            local,
            Analysed("Date: " + std::string(date) + "\r\n\r\n").GetMailSendDate().Format("%Y/%m/%d %H:%M:%S"))
            << date;
}

TEST_F(MailAnalyzerTest, BodyAndAttachments) {
    Analysed(
        "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\nContent-Type: image/x\r\n\r\nI\r\n--b\r\n"
        "Content-Type: text/html; charset=\"ISO-2022-JP\"\r\nContent-Transfer-Encoding: "
        "quoted-printable\r\n\r\n"
        "=1B$B%=3D=1B(B\r\n--b\r\nContent-Type: text/plain\r\n\r\nT\r\n--b--");
    EXPECT_EQ("ソ", analyzer.GetDecodeMailBody());
    ASSERT_EQ(2, analyzer.GetAttachFileNum());
    MimeFormatStruct part;
    EXPECT_EQ(1, analyzer.GetAttachFileData(1, part));
    EXPECT_EQ("T", part.m_strBody);
    EXPECT_EQ(0, analyzer.GetAttachFileData(2, part) + analyzer.GetAttachFileData(-1, part));
    EXPECT_EQ("ソ", Analysed("Content-Transfer-Encoding: base64\r\n\r\nGyRCJT0bKEI=").GetDecodeMailBody());
    EXPECT_EQ("a=?( ?=\"(c) \"d", MailAnalyzer::ReformatHeaderBodyString(" a(x)\t=?( ?= \"(c) \" d(open"));
}

}  // namespace
