#include "tessaly/compose/attach_file_manager.h"

#include <string>
#include <string_view>

#include "mime/ascii.h"
#include "mime/quoted_printable.h"
#include "platform/file.h"
#include "tessaly/mime/mime_decode_tool.h"
#include "tessaly/mime/transfer_encodings.h"
#include "tessaly/platform/mbcs.h"
#include "tessaly/reception/mail_analyzer.h"
#include "tessaly/text/strings.h"

namespace {

CString Base64(std::string_view content) { return CString(std::string_view(mime::Base64Body(content))); }

// A quoted text, where a backslash protects a quote, or the text up to the next ";". The second byte of a
// character is no backslash.
std::string ParameterText(std::string_view text) {
    if (!text.starts_with('"')) return std::string(text.substr(0, text.find(';')));
    std::string value;
    for (std::size_t at = 1; at < text.size() && text[at] != '"';) {
        if (text.substr(at, 2) == "\\\"") ++at;
        std::size_t const size = platform::WholeCharacterSize(text, at);
        value += text.substr(at, size);
        at += size;
    }
    return value;
}

// The text behind the "=" of a parameter; false where the parameter is missing.
bool FindParameter(CString const& header, std::string_view name, std::string& value) {
    CString const text = MailAnalyzer::ReformatHeaderBodyString(header);
    std::size_t const at = mime::FindParameter(text.View(), name);
    if (at == std::string_view::npos) return false;
    value = ParameterText(text.View().substr(at));
    return true;
}

CString NameIn(std::string_view path) {
    std::size_t begin = 0;
    for (std::size_t at = 0; at < path.size(); at += platform::WholeCharacterSize(path, at))
        if (path[at] == '\\' || path[at] == '/' || path[at] == ':') begin = at + 1;
    return CString(path.substr(begin));
}

}  // namespace

void CAttachFileManager::Init() {
    m_strFileBodyBase64.Empty();
    m_strFileName.Empty();
}

int CAttachFileManager::SetFileInfoFromFile(CString path) {
    if (!platform::Exists(path)) return no_file;
    m_strFileName = NameIn(path.View());
    std::string content;
    if (!platform::ReadWholeFile(path, content) || !mime::FitsBase64Body(content.size())) return not_opened;
    m_strFileBodyBase64 = Base64(content);
    return set;
}

int CAttachFileManager::SetFileInfoFromMimeString(CString text) {
    MimeFormatStruct entity;
    if (!MimeDecodeTool::MimeDecode(text, entity)) return not_decoded;
    return SetFileInfoFromMimeFormatStruct(entity);
}

int CAttachFileManager::SetFileInfoFromMimeFormatStruct(MimeFormatStruct entity) {
    std::string_view const encoding = entity.m_strContentTransferEncoding.View();
    if (mime::ContainsNoCase(encoding, "base64")) {
        m_strFileBodyBase64 = entity.m_strBody;
    } else if (mime::ContainsNoCase(encoding, "quoted-printable")) {
        m_strFileBodyBase64 = Base64(mime::FromQuotedPrintable(entity.m_strBody.View()));
    } else if (mime::ContainsNoCase(encoding, "7bit")) {
        m_strFileBodyBase64 = Base64(entity.m_strBody.View());
    } else {
        m_strFileBodyBase64.Empty();
        return unknown_encoding;
    }
    m_strFileName = GetAttacheFileName(entity);
    return m_strFileName.IsEmpty() ? no_name : set;
}

CString CAttachFileManager::GetFileMimeString() const {
    if (m_strFileName.IsEmpty() && m_strFileBodyBase64.IsEmpty()) return {};
    CString const name = EncodeFileName(text::OnOneLine(m_strFileName));
    return "Content-type: application/octet-stream;\r\n\tname=\"" + name +
           "\"\r\nContent-Disposition: attachment\r\n\tfilename=\"" + name +
           "\"\r\nContent-Transfer-Encoding: base64;\r\n\r\n" + m_strFileBodyBase64;
}

CString CAttachFileManager::GetAttacheFileName(MimeFormatStruct const& entity) {
    std::string value;
    if (!FindParameter(entity.m_strContentDisposition, "filename=", value) &&
        !FindParameter(entity.m_strContentType, "name=", value))
        return {};
    CString name;
    DecodeMimeHeaderParam(CString(std::string_view(value)), name);
    return name;
}
