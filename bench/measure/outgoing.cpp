// One recipient's mail by the engine, from the content of the mailing to the bytes behind DATA: merging,
// header, ISO-2022-JP, dots.
#include <stdexcept>

#include "engine/base/crossing.h"
#include "engine/mails/html_mail.h"
#include "engine/sending/outgoing_mail.h"
#include "measure.h"

namespace measure {
namespace {

constexpr int mails = 20000, customers = 100;
constexpr std::size_t text_size = 2048, picture_size = 6000;

CString In(std::string const& text) { return engine::Into(text, "text"); }

// About 2 KB in code page 932.
std::string Text() {
    std::string text;
    while (In(text).View().size() < text_size)
        text +=
            "<%会社名%>\r\n<%名前(姓)%> <%名前(名)%> "
            "様\r\n\r\nいつもお引き立ていただきありがとうございます。\r\n"
            "...春のセールのご案内です。くわしくは https://www.example.jp/spring?id=<%個人情報ID%> "
            "まで。\r\n\r\n";
    return text;
}

CString StoredHtml() {
    engine::HtmlSource source;
    std::string page = "<html><head><title>案内</title></head><body><img src=\"cid:p1\">\r\n";
    while (In(page).View().size() < text_size)
        page +=
            "<p class=\"lead\">&lt;%会社名%&gt; &lt;%名前(姓)%&gt; "
            "様</p>\r\n<p>春のセールのご案内です。</p>\r\n"
            "<a href=\"https://www.example.jp/spring?id=&lt;%個人情報ID%&gt;\">くわしく</a><br>\r\n";
    source.html = In(page + "</body></html>\r\n");
    CMimeAnalyze parts;
    MimeFormatStruct picture;
    std::string const part =
        "Content-Type: image/png; name=\"p.png\"\r\nContent-Transfer-Encoding: base64\r\nContent-ID: "
        "<p1>\r\n\r\n" +
        std::string(picture_size, 'A');
    if (parts.AnalyzeMime(engine::ComposeHtml(In(Text()), source)) != CMimeAnalyze::ok ||
        MimeDecodeTool::MimeDecode(CString(part.c_str()), picture) != 1)
        throw std::runtime_error("no mail to send");
    parts.GetRefOfMimeHtmlAttach().Add(picture);
    CString header, body;
    parts.GetMimeString(header, body, 0, nullptr);
    return header + "\r\n" + body;
}

OneCustomer Customer(int id) {
    OneCustomer customer;
    customer.CustomerID = id;
    customer.Email = CString(("n" + std::to_string(id) + "@example.com").c_str());
    customer.KanjiSei = In("山田" + std::to_string(id));
    customer.KanjiMei = In("花子");
    customer.Company = In("株式会社みどり" + std::to_string(id));
    customer.Prefecture = In("東京都");
    customer.Address1 = In("千代田区");
    customer.Phone1 = "03-1234-5678";
    return customer;
}

// What the client would send, without a connection.
class WireText : public MailSend {
  public:
    CString Of(engine::OutgoingMail const& mail) {
        engine::Fill(*this, mail);
        return MakeMail();
    }
};

void Compose(char const* kind, engine::MailVersion const& version) {
    engine::MailContent content;
    content.versions.fill(version);
    content.honorific = In("様");
    engine::Mailbox const from{In("みどり商店"), "shop@example.jp"};
    engine::MailTemplate const mail(content, from);
    std::vector<OneCustomer> people;
    for (int i = 0; i < customers; ++i) people.push_back(Customer(i));
    WireText client;
    CString wire;
    double const seconds = Best([&] {
        for (int i = 0; i < mails; ++i) {
            CString const id = MailSend::MakeMessageID("tessaly-measure@example.jp", i);
            wire = client.Of(mail.For(people[static_cast<std::size_t>(i % customers)], id));
        }
    });
    Row(std::string("compose one mail, to wire text, ") + kind, mails / seconds, "mails/s");
    Note(std::to_string(wire.GetLength()) + " bytes a mail");
}

}  // namespace

void Outgoing() {
    MailSend::SetXMailer("tessaly");
    CString const subject = In("<%名前(姓)%>様へ、春のセールのご案内");
    Compose("plain", {subject, In(Text()), {}, nullptr});
    Compose("HTML", engine::HtmlVersion(subject, StoredHtml()));
}

}  // namespace measure
