// The text of a mail sorted into its parts, merged, and written: read again, it has the same parts.

#include <string>
#include <vector>

#include "fuzz_target.h"
#include "tessaly/compose/mime_analyze.h"
#include "tessaly/customers/one_customer.h"

namespace {

// What a line end in front of a delimiter cannot change.
std::string Core(CString const& body) {
    std::string const text(body.View());
    std::size_t const begin = text.find_first_not_of("\r\n");
    return begin == text.npos ? "" : text.substr(begin, text.find_last_not_of("\r\n") + 1 - begin);
}

std::vector<std::string> Attachments(CMailDataStructure::Attachments const& parts) {
    std::vector<std::string> bodies;
    for (MimeFormatStruct const& part : parts) bodies.push_back(Core(part.m_strBody));
    return bodies;
}

// Whether nothing of a part is lost when it is written: entities with children hold no body of their own,
// and a fold can come between the halves of a broken header.
bool IsWhole(MimeFormatStruct const& part) {
    for (MimeHeaderStruct const& header : part.m_aHeader)
        if (header.m_strValue.Find(';') >= 0 || header.m_strValue.Find('\r') >= 0) return false;
    return !part.m_bHasChild && part.m_aHeader.GetSize() > 0;
}

}  // namespace

void FuzzOne(std::string_view bytes) {
    std::string const text = fuzz::TextOf(bytes);
    CMimeAnalyze mail;
    int const result = mail.AnalyzeMime(CString(text.c_str()));
    fuzz::Check(result == 0 || mail.GetDataTypeFromNowSetData() == 0, "a refused mail changes nothing");
    for (int i = 0; i < mail.m_aNormalAttach.GetSize(); ++i) {
        mail.GetMIMENormalAttachName(i);
        mail.GetMIMENormalAttachBodyBase64(i);
    }
    CMimeAnalyze merged = mail;
    OneCustomer customer;
    customer.KanjiSei = "表";
    CString header, body;
    merged.GetMimeString(header, body, 1, &customer);

    bool whole = mail.GetDataTypeFromNowSetData() != 0 && IsWhole(mail.m_mimeText);
    if (mail.m_bHtmlExist) whole = whole && IsWhole(mail.m_mimeHtml);
    for (auto const* parts : {&mail.m_aHtmlAttach, &mail.m_aNormalAttach})
        for (MimeFormatStruct const& part : *parts) whole = whole && IsWhole(part);
    if (!whole) return;
    CMimeAnalyze again;
    fuzz::Check(mail.GetMimeString(header, body, 1, nullptr) == 0, "what has parts can be written");
    fuzz::Check(again.AnalyzeMime(header + "\r\n" + body) == 0, "what was written is well-formed");
    fuzz::Check(Core(again.m_mimeText.m_strBody) == Core(mail.m_mimeText.m_strBody), "the text comes back");
    fuzz::Check(Core(again.m_mimeHtml.m_strBody) == Core(mail.m_mimeHtml.m_strBody), "the HTML comes back");
    fuzz::Check(Attachments(again.m_aNormalAttach) == Attachments(mail.m_aNormalAttach),
                "the attachments come back");
    if (mail.m_bHtmlExist)
        fuzz::Check(Attachments(again.m_aHtmlAttach) == Attachments(mail.m_aHtmlAttach),
                    "the pictures come back");
}
