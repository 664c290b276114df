#include "engine/mails/html_mail.h"

#include <algorithm>
#include <string_view>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/mails/mail_store.h"
#include "engine/mails/mail_text.h"
#include "tessaly/text.h"

namespace engine {
namespace {

constexpr char const* text_head =
    "Content-Type: text/plain; charset=iso-2022-jp\r\nContent-Transfer-Encoding: 7bit\r\n\r\n";
// For a page of pictures only, so that a mail program without HTML shows a text.
constexpr char const* no_text = "このメールはHTML形式です。";

// The members that a merge can insert.
constexpr CString OneCustomer::*customer_texts[] = {
    &OneCustomer::Email,    &OneCustomer::KanjiSei, &OneCustomer::KanjiMei,    &OneCustomer::KanaSei,
    &OneCustomer::KanaMei,  &OneCustomer::Company,  &OneCustomer::CompanyPost, &OneCustomer::Birthday,
    &OneCustomer::ZipCode1, &OneCustomer::ZipCode2, &OneCustomer::Prefecture,  &OneCustomer::Address1,
    &OneCustomer::Address2, &OneCustomer::Building, &OneCustomer::Phone1,      &OneCustomer::Phone2,
    &OneCustomer::Fax1,     &OneCustomer::Fax2,     &OneCustomer::Portable1,   &OneCustomer::Portable2,
    &OneCustomer::DMOk,     &OneCustomer::OtherOk,  &OneCustomer::ExtraA,      &OneCustomer::ExtraB,
    &OneCustomer::ExtraC,   &OneCustomer::ExtraD,   &OneCustomer::ExtraE,      &OneCustomer::ExtraF,
    &OneCustomer::ExtraG,   &OneCustomer::ExtraH,   &OneCustomer::ExtraI,      &OneCustomer::ExtraJ,
    &OneCustomer::ExtraK,   &OneCustomer::ExtraL,   &OneCustomer::ExtraM,      &OneCustomer::ExtraN,
    &OneCustomer::ExtraO,   &OneCustomer::ExtraP,   &OneCustomer::ExtraQ,      &OneCustomer::ExtraR,
    &OneCustomer::ExtraS,   &OneCustomer::ExtraT,
};

CString ToJis(CString const& text) {
    KCodeC code;
    return CString(code.sjtojis7(text, KCodeC::keep_kana));
}

MimeFormatStruct TextPart(CString const& text) {
    MimeFormatStruct part;
    MimeDecodeTool::MimeDecode(text_head + ToJis(MailableBody(text.IsEmpty() ? Into(no_text, "本文") : text)),
                               part);
    return part;
}

// A picture as a part to which the HTML points (RFC 2392).
MimeFormatStruct PicturePart(HtmlPicture const& picture) {
    CAttachFileManager file;
    if (file.SetFileInfoFromFile(IntoPath(picture.file)) != CAttachFileManager::set)
        throw Failure(Failure::unreadable_file, "画像を読めません: " + picture.file);
    CString const name = Mailable(Into(picture.name, "画像の名前"), true);
    MimeFormatStruct part;
    MimeDecodeTool::MimeDecode(CString("Content-Type: ") + MediaTypeOf(picture.name) + "; " +
                                   NameParameter("name", name) +
                                   "\r\nContent-Transfer-Encoding: base64\r\nContent-ID: <" +
                                   picture.content_id + ">\r\nContent-Disposition: inline; " +
                                   NameParameter("filename", name) + "\r\n\r\n" + file.GetFileBodyBase64(),
                               part);
    return part;
}

CString Stored(CMimeAnalyze& parts) {
    CString header, body;
    if (parts.GetMimeString(header, body, CMimeAnalyze::without_attachments, nullptr) < 0)
        throw Failure(Failure::incomplete_mail, "メールに本文がありません。");
    return header + "\r\n" + body;
}

// A word to a line. Reading a part takes the folds away, the blank behind them too.
void FoldWords(CMimeAnalyze::Attachments& attachments) {
    for (MimeFormatStruct& part : attachments)
        for (MimeHeaderStruct& header : part.m_aHeader) header.m_strValue.Replace("?==?", "?=\r\n =?");
}

CString Converted(MimeFormatStruct part) {
    CString text;
    part.ConvertBodyToCp932String(text);
    return text;
}

}  // namespace

CString ComposeHtml(CString const& text, HtmlSource const& source) {
    HtmlMailEncoder encoder;
    encoder.SetPlainText(MailableBody(text.IsEmpty() ? Into(no_text, "本文") : text));
    encoder.SetHtmlText(source.html);
    constexpr int as_ascii = 0;  // never: the merged values are Japanese
    if (!encoder.Encode(as_ascii, as_ascii, as_ascii))
        throw Failure(Failure::incomplete_mail, "HTMLに中身がありません。");
    CString type, subtype, parameters;
    encoder.GetContentTypeString(type, subtype, parameters);
    CMimeAnalyze parts = PartsOf("Content-Type: " + type + "/" + subtype + parameters + "\r\n\r\n" +
                                 encoder.GetMailBodyString());
    for (HtmlPicture const& picture : source.pictures) {
        MimeFormatStruct part = PicturePart(picture);
        parts.GetRefOfMimeHtmlAttach().Add(part);
    }
    return Stored(parts);
}

CString ComposeText(CString const& text) {
    CMimeAnalyze parts;
    MimeFormatStruct part = TextPart(text);
    parts.SetMIMETextBody(part);
    return Stored(parts);
}

CString WithText(CMimeAnalyze parts, CString const& text) {
    MimeFormatStruct part = TextPart(text);
    parts.SetMIMETextBody(part);
    return Stored(parts);
}

CMimeAnalyze PartsOf(CString const& stored) {
    CMimeAnalyze parts;
    if (parts.AnalyzeMime(stored) != CMimeAnalyze::ok ||
        parts.GetDataTypeFromNowSetData() == CMimeAnalyze::type_nothing)
        throw Failure(Failure::damaged_file,
                      "保存されたHTMLメールが壊れています。「tessaly mail edit」で作り直してください。");
    FoldWords(parts);
    return parts;
}

void FoldWords(CMimeAnalyze& parts) {
    FoldWords(parts.GetRefOfMimeHtmlAttach());
    FoldWords(parts.GetRefOfMimeNormalAttach());
}

CString TextIn(CMimeAnalyze const& parts) {
    MimeFormatStruct part;
    parts.GetMIMETextpart(part);
    return Converted(part);
}

CString HtmlIn(CMimeAnalyze const& parts) {
    MimeFormatStruct part;
    parts.GetMIMEHtmlpart(part);
    return Converted(part);
}

bool HasLongLine(std::string_view text) {
    constexpr std::size_t longest = 998;
    for (std::size_t at = 0, end; at < text.size(); at = end + 1) {
        end = std::min(text.find('\n', at), text.size());
        if (end - at > longest) return true;
    }
    return false;
}

MimeMail Written(CMimeAnalyze& parts, OneCustomer* customer) {
    MimeMail mail;
    CString header;
    parts.GetMimeString(header, mail.body, CMimeAnalyze::without_attachments, customer);
    MimeFormatStruct head;
    MimeDecodeTool::MimeDecode(header + "\r\n", head);
    MimeDecodeTool::SplitContentType(head.m_strContentType, mail.type, mail.subtype, mail.parameters);
    mail.type.Trim();
    return mail;
}

MimeMail MergeInto(CMimeAnalyze& parts, OneCustomer const& customer) {
    OneCustomer mailable = customer;
    for (CString OneCustomer::*const text : customer_texts)
        if (!(mailable.*text).IsEmpty()) mailable.*text = CrLfConverter(Mailable(mailable.*text, false));
    MimeMail mail = Written(parts, &mailable);
    if (!HasLongLine(parts.m_mimeText.m_strBody.View())) return mail;
    parts.m_mimeText.m_strBody = ToJis(MailableBody(TextIn(parts)));
    return Written(parts);
}

}  // namespace engine
