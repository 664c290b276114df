#include "received_text.h"

#include <algorithm>
#include <charconv>
#include <map>

#include "crossing.h"
#include "tessaly/delivery.h"
#include "tessaly/text.h"

namespace app {
namespace {

constexpr auto npos = std::string_view::npos;

std::string_view Trimmed(std::string_view text) {
    const std::size_t begin = std::min(text.find_first_not_of(" \t\r\n"), text.size());
    text.remove_prefix(begin);
    return text.substr(0, text.find_last_not_of(" \t\r\n") + 1);
}

// Calls `take(key, value)` for each parameter of a header's value, the value without its quotes.
template <class Take>
void ForEachParameter(std::string_view header, Take take) {
    while (!header.empty()) {
        bool quoted = false;
        std::size_t end = 0;
        while (end < header.size() && (quoted || header[end] != ';')) quoted ^= header[end++] == '"';
        const std::string_view parameter = header.substr(0, end);
        header.remove_prefix(std::min(end + 1, header.size()));
        const std::size_t equals = parameter.find('=');
        if (equals == npos) continue;
        std::string_view value = Trimmed(parameter.substr(equals + 1));
        if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
            value = value.substr(1, value.size() - 2);
        take(Trimmed(parameter.substr(0, equals)), value);
    }
}

// "charset'language'text", the charset one that mail programs write names in.
std::string FromCharset(std::string_view charset, std::string const& bytes) {
    CString name(charset);
    name.MakeLower();
    const CString text{std::string_view(bytes)};
    KCodeC code;
    if (name == "iso-2022-jp") return Out(CString(code.jis7tosj(text)));
    if (name == "shift_jis" || name == "windows-31j" || name == "cp932") return Out(text);
    if (name == "euc-jp") return Out(CString(code.ujtosj(text)));
    return bytes;
}

// name*=..., or name*0*=... name*1=... and so on.
std::string ExtendedParameter(CString const& header, std::string const& name) {
    std::map<int, std::string> pieces;
    std::string charset;
    ForEachParameter(header.View(), [&](std::string_view key, std::string_view value) {
        CString lowered(key);
        key = lowered.MakeLower().View();
        if (!key.starts_with(name + "*")) return;
        key.remove_prefix(name.size() + 1);
        int number = 0;
        std::from_chars(key.data(), key.data() + key.size(), number);
        bool const extended = key.empty() || key.ends_with('*');
        if (extended && number == 0) {
            const std::size_t first = value.find('\''),
                              second = value.find('\'', std::min(first, value.size() - 1) + 1);
            if (first == npos || second == npos) return;
            charset = value.substr(0, first);
            value.remove_prefix(second + 1);
        }
        pieces[number] = extended ? PercentDecoded(value) : std::string(value);
    });
    std::string bytes;
    for (auto const& [number, piece] : pieces) bytes += piece;
    return FromCharset(charset, bytes);
}

}  // namespace

std::string PercentDecoded(std::string_view text) {
    std::string decoded;
    for (std::size_t at = 0; at < text.size(); ++at) {
        unsigned byte = 0;
        std::string_view const digits = text.substr(std::min(at + 1, text.size()), 2);
        auto const [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
        bool const escaped =
            text[at] == '%' && digits.size() == 2 && error == std::errc() && end == digits.data() + 2;
        decoded += escaped ? static_cast<char>(byte) : text[at];
        if (escaped) at += 2;
    }
    return decoded;
}

std::string NameOfPart(MimeFormatStruct const& part) {
    CAttachFileManager file;
    if (file.SetFileInfoFromMimeFormatStruct(part) == CAttachFileManager::set) return Out(file.GetFileName());
    for (auto const& [header, name] :
         {std::pair{&part.m_strContentDisposition, "filename"}, std::pair{&part.m_strContentType, "name"}})
        if (const std::string extended = ExtendedParameter(*header, name); !extended.empty()) return extended;
    CString name;
    part.GetNameParamFromContentType(name);
    return Out(name);
}

CString SubjectOf(MailAnalyzer const& analyzer) {
    CString subject = analyzer.GetDecodeMailSubject();
    if (subject.Find("=?") >= 0) DecodeMimeHeaderParam(analyzer.GetDecodeMailSubject(), subject);
    return subject;
}

}  // namespace app
