#include "tessaly/mime/mime_format_struct.h"

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "mime/ascii.h"
#include "mime/quoted_printable.h"
#include "platform/view_of.h"
#include "tessaly/mime/encoded_words.h"
#include "tessaly/mime/transfer_encodings.h"
#include "tessaly/text/kcodec.h"
#include "tessaly/text/strings.h"

using mime::FindParameter;
using mime::Lowered;
using mime::Trimmed;

namespace {

constexpr std::string_view name_parameter = "name=";
constexpr std::string_view charset_parameter = "charset=";
constexpr char const* base64 = "base64";
constexpr char const* quoted_printable = "quoted-printable";
constexpr char const* seven_bit = "7bit";
constexpr char const* eight_bit = "8bit";
constexpr auto npos = std::string_view::npos;

CString Text(std::string_view text) { return CString(text); }

// The body of a Base64 entity decoded; false for a body that is not Base64.
bool DecodeBase64(CString const& body, std::string& out) {
    std::string text(static_cast<std::size_t>(body.GetLength()) + 1, '\0');
    DeleteBlankAndBreakLine(body, text.data());
    std::size_t const length = std::strlen(text.data());
    unsigned long whole_size = 0;
    if (!GetSizeAfterBase64Decoding(whole_size, text.data(), length)) return false;
    out.resize(length + 1);
    int const size = length == 0 ? 0 : base64decoding(out.data(), text.data(), static_cast<int>(length + 1));
    if (size < 0) return false;
    out.resize(static_cast<std::size_t>(size));
    return true;
}

bool DecodeQuoted(CString const& body, std::string& out) {
    CString const text = Text(Trimmed(body.View()));
    unsigned long size = 0;
    if (!GetSizeAfterQuotedPrintableDecoding(text, size)) return false;
    out.resize(static_cast<std::size_t>(text.GetLength()) + 1);
    if (!QuotedPrintableDecoding(text, out.data())) return false;
    out.resize(size);
    return true;
}

// The text in the quotes with which `rest` begins, or up to the first ";" behind its first character.
bool ParameterValue(std::string_view rest, std::string_view& value) {
    value = rest;
    if (rest.size() < 2) return true;
    if (rest[0] == '"') {
        std::size_t const close = rest.find('"', 1);
        if (close == npos) return false;
        value = rest.substr(1, close - 1);
    } else if (std::size_t const end = rest.find(';'); end != npos && end > 0) {
        value = mime::TrimmedRight(rest.substr(0, end));
    }
    return true;
}

}  // namespace

MimeFormatStruct::MimeFormatStruct() = default;

MimeFormatStruct::MimeFormatStruct(MimeFormatStruct const& other) { Copy(*this, other); }

MimeFormatStruct::MimeFormatStruct(MimeFormatStruct&& other) noexcept = default;

MimeFormatStruct& MimeFormatStruct::operator=(MimeFormatStruct const& other) {
    Copy(*this, other);
    return *this;
}

MimeFormatStruct& MimeFormatStruct::operator=(MimeFormatStruct&& other) noexcept {
    // `other` may be a child of this one, which is destroyed with `taken`
    MimeFormatStruct taken(std::move(other));
    m_aHeader.Items().swap(taken.m_aHeader.Items());
    std::swap(m_strContentTypeName, taken.m_strContentTypeName);
    std::swap(m_strContentType, taken.m_strContentType);
    std::swap(m_strBoundary, taken.m_strBoundary);
    std::swap(m_strContentDispositionName, taken.m_strContentDispositionName);
    std::swap(m_strContentDisposition, taken.m_strContentDisposition);
    std::swap(m_strContentTransferEncodingName, taken.m_strContentTransferEncodingName);
    std::swap(m_strContentTransferEncoding, taken.m_strContentTransferEncoding);
    std::swap(m_dMimeVersion, taken.m_dMimeVersion);
    std::swap(m_strBody, taken.m_strBody);
    m_aChild.Items().swap(taken.m_aChild.Items());
    std::swap(m_bHasChild, taken.m_bHasChild);
    return *this;
}

MimeFormatStruct::~MimeFormatStruct() { DropChildren(); }

// Takes each entity apart before it is destroyed, so that none is destroyed with children in it.
void MimeFormatStruct::DropChildren() noexcept {
    if (m_aChild.IsEmpty()) return;
    std::vector<Children::Storage> waiting;
    waiting.push_back(std::move(m_aChild.Items()));
    while (!waiting.empty()) {
        Children::Storage children = std::move(waiting.back());
        waiting.pop_back();
        for (MimeFormatStruct& child : children)
            if (!child.m_aChild.IsEmpty()) waiting.push_back(std::move(child.m_aChild.Items()));
    }
    m_aChild.RemoveAll();
}

void MimeFormatStruct::Init() { *this = MimeFormatStruct(); }

// Copies all fields but the children.
void MimeFormatStruct::TakeFields(MimeFormatStruct const& other) {
    m_aHeader = other.m_aHeader;
    m_strContentTypeName = other.m_strContentTypeName;
    m_strContentType = other.m_strContentType;
    m_strBoundary = other.m_strBoundary;
    m_strContentDispositionName = other.m_strContentDispositionName;
    m_strContentDisposition = other.m_strContentDisposition;
    m_strContentTransferEncodingName = other.m_strContentTransferEncodingName;
    m_strContentTransferEncoding = other.m_strContentTransferEncoding;
    m_dMimeVersion = other.m_dMimeVersion;
    m_strBody = other.m_strBody;
    m_bHasChild = other.m_bHasChild;
}

// `src` may be a part of `dst`: the copy is made before anything of `dst` is destroyed.
MimeFormatStruct& MimeFormatStruct::Copy(MimeFormatStruct& dst, MimeFormatStruct const& src) {
    if (&dst == &src) return dst;
    MimeFormatStruct copy;
    std::vector<std::pair<MimeFormatStruct*, MimeFormatStruct const*>> waiting = {{&copy, &src}};
    while (!waiting.empty()) {
        auto const [to, from] = waiting.back();
        waiting.pop_back();
        to->TakeFields(*from);
        to->m_aChild.SetSize(from->m_aChild.GetSize());
        for (int i = 0; i < from->m_aChild.GetSize(); ++i)
            waiting.emplace_back(&to->m_aChild[i], &from->m_aChild[i]);
    }
    return dst = std::move(copy);
}

int MimeFormatStruct::ConvertBodyToCp932String(CString& out) {
    CString encoding, charset, text;
    GetContentTransferEncoding(encoding);
    if (encoding == base64) {
        std::string decoded;
        if (!DecodeBase64(m_strBody, decoded)) return 0;
        text = CString(decoded.c_str());
    } else if (encoding == quoted_printable) {
        text = CString(mime::FromQuotedPrintable(m_strBody.View()).c_str());
    } else if (encoding == seven_bit || encoding == eight_bit) {
        text = m_strBody;
    } else {
        return 0;
    }
    if (!GetCharset(charset)) charset = "us-ascii";
    if (charset == "iso-2022-jp") {
        KCodeC code;
        text = CString(code.jis7tosj(text));
    } else if (charset == "utf-8") {
        std::string converted(SizeOfUtf8ToSj(static_cast<std::size_t>(text.GetLength())), '\0');
        KCodeC code;
        code.utf8tosj(converted.data(), text);
        text = CString(converted.c_str());
    } else if (charset != "us-ascii" && charset != "shift-jis" && charset != "shift_jis") {
        return 0;
    }
    out = text;
    return 1;
}

int MimeFormatStruct::GetBodyAfterBase64Decode(char* out) const {
    std::string decoded;
    if (!ContentTransferEncodingIs(base64) || !DecodeBase64(m_strBody, decoded)) return 0;
    decoded.copy(out, decoded.size());
    return 1;
}

int MimeFormatStruct::GetSizeAfterBase64Decode(unsigned long& size) const {
    std::string decoded;
    if (!ContentTransferEncodingIs(base64) || !DecodeBase64(m_strBody, decoded)) return 0;
    size = decoded.size();
    return 1;
}

int MimeFormatStruct::GetBodyAfterQuotedPrintableDecode(char* out) const {
    std::string decoded;
    if (!ContentTransferEncodingIs(quoted_printable) || !DecodeQuoted(m_strBody, decoded)) return 0;
    decoded.copy(out, decoded.size());
    return 1;
}

int MimeFormatStruct::GetSizeAfterQuotedPrintableDecode(unsigned long& size) const {
    std::string decoded;
    if (!ContentTransferEncodingIs(quoted_printable) || !DecodeQuoted(m_strBody, decoded)) return 0;
    size = decoded.size();
    return 1;
}

int MimeFormatStruct::GetSizeAfterDecode(unsigned long& size) const {
    if (GetSizeAfterBase64Decode(size) || GetSizeAfterQuotedPrintableDecode(size)) return 1;
    if (!ContentTransferEncodingIs(seven_bit) && !ContentTransferEncodingIs(eight_bit)) return 0;
    size = static_cast<unsigned long>(m_strBody.GetLength());
    return 1;
}

int MimeFormatStruct::GetContentType(CString& out) const {
    std::string const value = Lowered(m_strContentType.View());
    std::size_t const end = value.find(';');
    if (end == npos) return 0;
    out = Text(Trimmed(std::string_view(value).substr(0, end)));
    return 1;
}

int MimeFormatStruct::GetCharset(CString& out) const {
    std::string const value = Lowered(m_strContentType.View());
    std::size_t const at = FindParameter(value, charset_parameter);
    if (at == npos) return 0;
    std::string_view rest = mime::TrimmedLeft(std::string_view(value).substr(at));
    while (rest.starts_with('"')) rest.remove_prefix(1);
    std::size_t end = rest.find('"');
    if (end == npos) end = rest.find(';');
    if (end != npos && end > 0) rest = rest.substr(0, end);
    out = Text(mime::TrimmedRight(rest));
    return 1;
}

int MimeFormatStruct::GetContentTransferEncoding(CString& out) const {
    out = Text(Trimmed(Lowered(m_strContentTransferEncoding.View())));
    return 1;
}

int MimeFormatStruct::ContentTypeIs(char const* s) const {
    CString type;
    return GetContentType(type) && type == s;
}

int MimeFormatStruct::CharsetIs(char const* s) const {
    CString charset;
    GetCharset(charset);
    return charset == s;
}

int MimeFormatStruct::ContentTransferEncodingIs(char const* s) const {
    CString encoding;
    GetContentTransferEncoding(encoding);
    return encoding == s;
}

int MimeFormatStruct::HeaderNamed(char const* name) const {
    for (int i = 0; i < m_aHeader.GetSize(); ++i)
        if (mime::EqualNoCase(Trimmed(m_aHeader[i].m_strName.View()), name)) return i;
    return no_header;
}

int MimeFormatStruct::GetHeader(char const* name, CString& out) const {
    int const header = HeaderNamed(name);
    if (header == no_header) return 0;
    out = m_aHeader[header].m_strValue;
    return 1;
}

int MimeFormatStruct::GetContentId(CString& out) const { return GetHeader("content-id", out); }

int MimeFormatStruct::GetContentLocation(CString& out) const { return GetHeader("content-location", out); }

int MimeFormatStruct::ContentIdIs(char const* s) const {
    CString value;
    if (!GetContentId(value)) return 0;
    std::string_view id = Trimmed(value.View());
    while (id.starts_with('<')) id.remove_prefix(1);
    while (id.ends_with('>')) id.remove_suffix(1);
    return id == platform::ViewOf(s);
}

int MimeFormatStruct::SetContentId(char const* s) {
    int const header = HeaderNamed("content-id");
    if (header == no_header) return 0;
    m_aHeader[header].m_strValue = s;
    return 1;
}

int MimeFormatStruct::GetNameParamFromContentType(CString& out) const {
    std::string_view const value = m_strContentType.View();
    std::size_t const at = FindParameter(value, name_parameter);
    if (at == npos) return 0;
    std::string_view const rest = Trimmed(value.substr(at));
    std::string_view name;
    if (rest.empty() || !ParameterValue(rest, name)) return 0;
    return DecodeMimeHeaderParam(Text(name), out);
}

int MimeFormatStruct::SetNameParamToContentType(CString const& name) {
    std::string_view const value = m_strContentType.View();
    std::string head, tail = "\"";
    if (std::size_t const at = FindParameter(value, name_parameter); at != npos) {
        head = std::string(value.substr(0, at)) + "\"";
        std::string_view const rest = value.substr(at);
        if (rest.size() >= 2 && rest[0] == '"') {
            if (std::size_t const close = rest.find('"', 1); close != npos) tail = rest.substr(close);
        } else if (std::size_t const end = rest.find(';'); rest.size() >= 2 && end != npos && end > 0) {
            tail = "\" " + std::string(rest.substr(end));
        }
    } else {
        head = std::string(value.substr(0, value.find_last_not_of(" \t;") + 1)) + " ; name=\"";
    }
    m_strContentType = Text(head + std::string(EncodeFileName(text::OnOneLine(name)).View()) + tail);
    for (MimeHeaderStruct& header : m_aHeader) {
        if (!mime::EqualNoCase(header.m_strName.View(), "content-type")) continue;
        header.m_strValue = m_strContentType;
        break;
    }
    return 1;
}

CString MimeFormatStruct::GetStringInDblQuote(CString& s) {
    std::string_view const text = s.View();
    std::size_t const first = text.find('"'), last = text.rfind('"');
    return first == npos || first == last ? CString() : Text(text.substr(first + 1, last - first - 1));
}

CString MimeFormatStruct::GetMIMENormalAttachName() {
    CString const quoted = GetStringInDblQuote(m_strContentDisposition);
    CString name;
    if (!quoted.IsEmpty()) DecodeMimeHeaderParam(quoted, name);
    return name;
}
