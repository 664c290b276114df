#include "engine/sending/outgoing_mail.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "engine/base/crossing.h"
#include "engine/mails/html_mail.h"
#include "engine/mails/mail_text.h"
#include "tessaly/text.h"

// What a mailing makes of its content once is held against the plain way, which makes each mail from its
// texts.

namespace {

using engine::JisTemplate;

CString In(std::string const& utf8) { return engine::Into(utf8, "text"); }
CString Bytes(std::string const& cp932) { return CString(std::string_view(cp932)); }

CString ToJis(CString const& text) {
    KCodeC code;
    return CString(code.sjtojis7(text, 0));
}

OneCustomer Customer(CString const& company) {
    OneCustomer customer;
    customer.CustomerID = 12;
    customer.Email = "a@example.jp";
    customer.KanjiSei = In("能代");  // 5C is a second byte
    customer.Company = company;
    customer.EntryDate = COleDateTime(2026, 1, 2, 3, 4, 5);
    return customer;
}

enum class Way { pieces, plain, any };

// Whether the pieces were joined, after holding them against the plain way.
bool CheckBody(CString const& text, CString const& company, Way way) {
    OneCustomer const customer = Customer(company);
    engine::MailVersion const version{"s", text, {}, nullptr};
    CString const wanted = ToJis(engine::Merge(version, "", customer).body);
    CString made;
    bool const joined = JisTemplate(text, JisTemplate::Use::body).AppendMerged(customer, made);
    if (way != Way::any) {
        EXPECT_EQ(joined, way == Way::pieces) << engine::Out(text);
    }
    if (joined) {
        EXPECT_EQ(made, wanted) << engine::Out(text);
    }
    EXPECT_EQ(ToJis(engine::VersionTemplate(version).Body(customer).body), wanted) << engine::Out(text);
    return joined;
}

TEST(OutgoingMail, ABodyOfPiecesIsTheWholeBody) {
    std::string lines, kanji, mixed;
    for (int i = 0; i < 490; ++i) kanji += "漢";
    for (int i = 0; i < 99; ++i) mixed += "漢a";
    for (int i = 0; i < 3; ++i) lines += kanji + "\r\n";
    const struct {
        CString text, company;
        Way way;
    } rows[] = {
        {In("<%会社名%>\r\n<%名前(姓)%> 様\r\n"), In("株式会社みどり"), Way::pieces},
        {In("a<%会社名%>b"), In("みどり"), Way::pieces},
        {In("春<%会社名%>秋"), In("みどり"), Way::pieces},
        {In("春<%会社名%>秋"), "Midori & \"<%会社名%>\"", Way::pieces},
        {In("春<%会社名%><%会社名%>"), "", Way::pieces},
        {In("<%会社名%>"), "", Way::pieces},
        {In("<%会社名%>\r\n.<%会社名%>\r\n..\r\n"), ".", Way::pieces},
        {In("<%<%個人情報ID%>%> <%登録日時%> <%知らない語%>\r\n"), "", Way::pieces},
        {In("ソ能表<%会社名%>芸\\|"), In("ー\\|~"), Way::pieces},
        {In("ｱｲｳ①<%会社名%>〓"), In("ｶﾞﾊﾟﾞ"), Way::pieces},
        {Bytes("\xFA\xB1") + In("<%会社名%>") + Bytes("\x01\x7F"), Bytes("\xF0\x40\x85\x40\x1B$B"),
         Way::pieces},
        {In("<%会社名%>\r\n"), In("一\r二\n三\r\n四"), Way::pieces},
        {In(lines + "<%会社名%>"), In(lines), Way::pieces},
        {In(kanji + "<%会社名%>"), "", Way::pieces},
        // What lies across two pieces.
        {In("ｶ<%会社名%>"), In("ﾞ"), Way::plain},
        {In("<%会社名%>ﾟ"), In("ﾊ"), Way::plain},
        {Bytes("\x82") + In("<%会社名%>"), Bytes("\xA0"), Way::plain},
        {In("<%会社名%>") + Bytes("\xA0"), Bytes("\x82"), Way::plain},
        {In("<%会社名%>\n"), "a\r", Way::plain},
        {In("a\n<%会社名%>"), "\r", Way::plain},
        {In(kanji + "<%会社名%>"), "abcdef", Way::plain},
        {In(mixed + "<%会社名%>"), In(mixed), Way::plain},
        {In("<%会社名%>"), In(kanji + kanji), Way::plain},
        {In(kanji + kanji), "", Way::plain},
    };
    for (auto const& row : rows) CheckBody(row.text, row.company, row.way);
}

TEST(OutgoingMail, AnyMixtureMakesTheSameBody) {
    CString const parts[] = {
        In("<%会社名%>"),
        In("<%名前(姓)%>"),
        In("様"),
        In("ｶ"),
        In("ﾞ"),
        "\r\n",
        "\r",
        "\n",
        ".",
        " ",
        "abc",
        In("表能ソ"),
        Bytes("\x82"),
        In("①"),
        "<%",
        "%>",
        "\t",
        In("〓"),
        In("<%電話番号%>"),
        Bytes("\x81\x20"),
        Bytes("\xFA\x40"),
    };
    std::mt19937 numbers(1);
    auto const text = [&](std::size_t most) {
        CString mixture;
        for (std::size_t left = numbers() % most + 1; left > 0; --left)
            mixture += parts[numbers() % std::size(parts)];
        return mixture;
    };
    int joined = 0;
    constexpr int texts = 3000;
    for (int i = 0; i < texts; ++i) joined += CheckBody(text(12), text(3), Way::any);
    EXPECT_GT(joined, texts / 4);
    EXPECT_LT(joined, texts);
}

// What stands behind the fixed start of each boundary goes.
std::string WithoutBoundaries(CString const& text) {
    constexpr std::string_view start = "_TESSALY_MULTIPART_2";
    std::string result(text.View());
    for (std::size_t at = 0; (at = result.find(start, at)) != result.npos; at += start.size())
        result.erase(at + start.size(), result.find_first_of("\"-\r", at) - at - start.size());
    return result;
}

TEST(OutgoingMail, AnHtmlMailOfPiecesIsTheWholeMail) {
    engine::HtmlSource source;
    source.html =
        In("<html><body>ｱ&lt;%会社名%&gt;様<br><p title=\"&lt;%名前(姓)%&gt;\">=能</p></body></html>\r\n");
    CString const html = engine::ComposeHtml(In("<%会社名%>様\r\n.\r\n"), source);
    source.html.Replace(In("ｱ"), "");
    CString const page = engine::ComposeHtml(In("<%会社名%>様\r\n.\r\n"), source);
    CString ascii = page, marked = page;
    ascii.Replace("charset=iso-2022-jp\r\nContent-Transfer-Encoding: 7bit",
                  "charset=us-ascii\r\nContent-Transfer-Encoding: 7bit");
    marked.Replace("<p", "_TESSALY_MULTIPART_<p");
    std::string const long_value(1000, 'x');
    const struct {
        CString stored, company;
        bool pieces;
    } rows[] = {
        {page, In("みどり"), true},
        {page, "A & \"B\" <c>", true},
        {page, "", true},
        {page, In("ｶﾞ①\r\n.\r二"), true},
        {engine::ComposeText(In("<%会社名%>様")), In("みどり"), true},
        {engine::ComposeText(In("<%電話番号%>")), "", true},
        {html, In("みどり"), false},
        {ascii, "A", false},
        {marked, "A", false},
        {page, "_TESSALY_MULTIPART_", false},
        {page, Bytes(long_value), false},
    };
    for (auto const& row : rows) {
        OneCustomer const customer = Customer(row.company);
        CMimeAnalyze const parts = engine::PartsOf(row.stored);
        CMimeAnalyze own = parts;
        engine::MimeMail const wanted = engine::MergeInto(own, customer);
        auto const made = engine::HtmlTemplate(parts).Merged(customer);
        EXPECT_EQ(made.has_value(), row.pieces) << engine::Out(row.company) << engine::Out(row.stored);
        if (!made) continue;
        EXPECT_EQ(WithoutBoundaries(made->body), WithoutBoundaries(wanted.body));
        EXPECT_EQ(WithoutBoundaries(made->parameters), WithoutBoundaries(wanted.parameters));
        EXPECT_EQ(made->type + "/" + made->subtype, wanted.type + "/" + wanted.subtype);
    }
}

class WireText : public MailSend {
  public:
    CString Of(engine::OutgoingMail const& mail) {
        engine::Fill(*this, mail);
        return MakeMail();
    }
};

TEST(OutgoingMail, TheWireHasHeaderBodyAndAttachmentsInTheirPlaces) {
    engine::MailContent content;
    content.versions.fill({In("<%会社名%>"), In(".<%会社名%>\r\n.様"), {"X: y\r\n\r\n.z"}, nullptr});
    content.versions[at].body = "au";
    content.reply_to = {"", "r@example.jp"};
    content.honorific = In("様");
    content.asks_receipt = true;
    engine::MailTemplate const mail(content, {"Shop", "s@example.jp"});
    MailSend::SetXMailer("");
    WireText client;
    CString wire = client.Of(mail.For(Customer(""), "id"));
    CString date = wire.Mid(wire.Find("Date: "));
    wire.Replace(date.Left(date.Find("\r\n")), "Date: now");
    CString const boundary = wire.Mid(wire.Find("\r\n--") + 4);
    wire.Replace(boundary.Left(boundary.Find("\r\n")), "b");
    EXPECT_EQ(
        engine::Out(wire),
        "From: \"Shop\" <s@example.jp>\r\nReply-To: r@example.jp\r\n"
        "To: =?ISO-2022-JP?B?GyRCRz1CZU1NGyhC?= <a@example.jp>\r\nDate: now\r\nSubject:  \r\n"
        "List-Unsubscribe: <mailto:s@example.jp?subject=unsubscribe&body=%3CREFUSE%3E>\r\n"
        "Disposition-Notification-To: s@example.jp\r\nMessage-Id: <id>\r\n"
        "Content-Type: multipart/mixed; boundary=\"b\"\r\nMime-Version: 1.0\r\n"
        "Content-Transfer-Encoding: 7bit\r\n\r\n--b\r\nContent-Type: text/plain; charset=ISO-2022-JP\r\n"
        "Content-Transfer-Encoding: 7bit\r\n\r\n..\r\n..\x1B$BMM\x1B(B\r\n--b\r\nX: "
        "y\r\n\r\n.z\r\n--b--\r\n.\r\n");
    OneCustomer mobile = Customer("");
    mobile.Email = "a@ezweb.ne.jp";
    EXPECT_EQ(mail.For(mobile, "id").content.body, "au");
}

}  // namespace
