#include "tessaly/compose/eml_file_decoder.h"

#include <string>
#include <string_view>
#include <vector>

#include "compose/html_meta.h"
#include "mime/ascii.h"
#include "mime/entity_text.h"
#include "tessaly/mime/encoded_words.h"

using mime::ContainsNoCase;

namespace {

constexpr auto npos = std::string_view::npos;
constexpr std::string_view body_end = "</BODY>", blank_line = "<DIV>&nbsp;</DIV>\r\n";

// The last place of `word` without regard to case.
std::size_t FindLastNoCase(std::string_view text, std::string_view word) {
    for (std::size_t at = text.size() < word.size() ? 0 : text.size() - word.size() + 1; at-- > 0;)
        if (mime::EqualNoCase(text.substr(at, word.size()), word)) return at;
    return npos;
}

// An empty line at the end of the page, where an editor puts its cursor.
CString WithBlankLine(CString const& html) {
    std::string_view const text = html.View();
    std::size_t const at = FindLastNoCase(text, body_end);
    if (at == npos || at <= blank_line.size() ||
        mime::EqualNoCase(text.substr(at - blank_line.size(), blank_line.size()), blank_line))
        return html;
    return CString(text.substr(0, at)) + CString(blank_line) + CString(text.substr(at));
}

}  // namespace

int EmlFileDecoder::EmlDecode(CString text) {
    for (CString* field : {&plain_, &html_, &subject_}) field->Empty();
    plain_found_ = html_found_ = false;
    if (!MimeDecode(text, message_)) {
        message_.Init();
        return 0;
    }
    DecodeMailSubject();
    CutDownMailBody();
    return 1;
}

void EmlFileDecoder::DecodeMailSubject() {
    Headers found;
    GetHeaderInfo("subject", found, message_);
    if (found.IsEmpty()) return;
    std::string_view const value = found[0].m_strValue.View();
    std::string decoded(mime::DecodedWordsRoom(value.size()), '\0');
    MIMEbase64decoding(decoded.data(), found[0].m_strValue);
    subject_ = CString(decoded.c_str() + (decoded[0] == ' ' ? 1 : 0));
}

// Parts in their order; parts not yet looked at wait in a list, since they may nest without limit.
void EmlFileDecoder::CutDownMailBody() {
    std::vector<MimeFormatStruct*> waiting = {&message_};
    while (!waiting.empty()) {
        MimeFormatStruct& entity = *waiting.back();
        waiting.pop_back();
        if (entity.m_aChild.IsEmpty()) {
            TakeText(entity);
            continue;
        }
        bool const only_first =
            !plain_found_ && !html_found_ && CheckContentTypeRelated_Alternative(entity.m_strContentType);
        for (int i = only_first ? 1 : entity.m_aChild.GetSize(); i-- > 0;)
            waiting.push_back(&entity.m_aChild[i]);
    }
}

bool EmlFileDecoder::TakeText(MimeFormatStruct& entity) {
    CString type, subtype, params;
    SplitContentType(entity.m_strContentType, type, subtype, params);
    if (!ContainsNoCase(type.View(), "text")) return false;
    if (ContainsNoCase(subtype.View(), "plain")) {
        plain_ = DecodeMailBodyEml(entity, Markup::none);
        return plain_found_ = true;
    }
    if (!ContainsNoCase(subtype.View(), "html")) return false;
    html_ = DecodeMailBodyEml(entity, Markup::html);
    return html_found_ = true;
}

bool EmlFileDecoder::CheckContentTypeRelated_Alternative(CString value) {
    CString type, subtype, params;
    SplitContentType(value, type, subtype, params);
    auto const start = mime::ParameterIn(params.View(), "type=", {.ends = "; "});
    return ContainsNoCase(type.View(), "multipart") && ContainsNoCase(subtype.View(), "related") && start &&
           mime::EqualNoCase(*start, "multipart/alternative");
}

CString EmlFileDecoder::DecodeMailBodyEml(MimeFormatStruct const& entity, Markup markup) {
    CString type, subtype, params;
    SplitContentType(entity.m_strContentType, type, subtype, params);
    auto const [text, was_jis] =
        mime::TextOfEntity(entity, mime::ParameterIn(params.View(), "charset=").value_or(""));
    if (markup == Markup::none) return text;
    return WithBlankLine(was_jis ? compose::WithMetaCharset(text, "Shift-JIS") : text);
}
