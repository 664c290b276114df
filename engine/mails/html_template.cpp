#include "engine/mails/html_template.h"

#include <string>
#include <string_view>

#include "tessaly/text.h"

namespace engine {
namespace {

constexpr auto npos = std::string_view::npos;
// Mark the places of the two texts in the frame. No mail holds such a text.
constexpr char const *text_place = "\x01text\x01", *html_place = "\x01html\x01";
// Of every boundary.
constexpr std::string_view boundary_start = "_TESSALY_MULTIPART_";

bool IsJis(MimeFormatStruct const& part, char const* type, char const* encoding) {
    return part.ContentTypeIs(type) && part.CharsetIs("iso-2022-jp") &&
           part.ContentTransferEncodingIs(encoding) &&
           !MimeDecodeTool::stristr(part.m_strContentType, "us-ascii");
}

CString Decoded(MimeFormatStruct const& part, int encoding) {
    std::string decoded(part.m_strBody.View().size() + 1, '\0');
    int length = 0;
    DecodeMailBody(part.m_strBody, encoding, decoded.data(), length);
    decoded.resize(static_cast<std::size_t>(length));
    KCodeC code;
    return code.jis7tosj(decoded.c_str());
}

// Where `place` stands once in `text`; npos where it does not, or more than once.
std::size_t OnlyPlaceOf(std::string_view place, std::string_view text) {
    std::size_t const at = text.find(place);
    return at != npos && text.find(place, at + 1) == npos ? at : npos;
}

}  // namespace

HtmlTemplate::HtmlTemplate(CMimeAnalyze const& parts) {
    constexpr int plain = 0;
    MimeFormatStruct text, html;
    parts.GetMIMETextpart(text);
    parts.GetMIMEHtmlpart(html);
    bool const known = IsJis(text, "text/plain", "7bit") &&
                       (!parts.HtmlPartExist() || IsJis(html, "text/html", "quoted-printable"));
    if (!known || !ReadFrame(parts)) return;
    text_.emplace(Decoded(text, plain), JisTemplate::Use::text_part);
    if (parts.HtmlPartExist())
        html_.emplace(Decoded(html, mime::MAIL_BODY_QUOTED_PRINTABLE), JisTemplate::Use::html_part);
}

bool HtmlTemplate::ReadFrame(CMimeAnalyze frame) {
    frame.m_mimeText.m_strBody = text_place;
    if (frame.HtmlPartExist()) frame.m_mimeHtml.m_strBody = html_place;
    frame_ = Written(frame);
    CString const body = frame_.body;
    frame_.body.Empty();
    std::string_view const view = body.View();
    std::size_t const text = OnlyPlaceOf(text_place, view);
    if (text == npos) return false;
    front_ = CString(view.substr(0, text));
    std::size_t done = text + std::string_view(text_place).size();
    if (frame.HtmlPartExist()) {
        std::size_t const html = OnlyPlaceOf(html_place, view);
        if (html == npos || html < done) return false;
        middle_ = CString(view.substr(done, html - done));
        done = html + std::string_view(html_place).size();
    }
    back_ = CString(view.substr(done));
    return true;
}

std::optional<MimeMail> HtmlTemplate::Merged(OneCustomer const& customer) const {
    if (!text_) return std::nullopt;
    CString html;
    if (html_) {
        html.Reserve(static_cast<int>(html_->ExpectedSize()));
        if (!html_->AppendMerged(customer, html)) return std::nullopt;
    }
    MimeMail mail = frame_;
    CString& body = mail.body;
    body.Reserve(static_cast<int>(front_.View().size() + text_->ExpectedSize() + middle_.View().size() +
                                  mime::QuotedPrintableRoom(html.View()) + back_.View().size()));
    body += front_;
    if (!text_->AppendMerged(customer, body)) return std::nullopt;
    std::string_view const text = body.View().substr(front_.View().size());
    if (HasLongLine(text) || text.find(boundary_start) != npos) return std::nullopt;
    body += middle_;
    std::size_t const html_begin = body.View().size();
    mime::AppendQuotedPrintable(body, html.View());
    if (body.View().substr(html_begin).find(boundary_start) != npos) return std::nullopt;
    body += back_;
    return mail;
}

}  // namespace engine
