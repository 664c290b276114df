#include "tessaly/mime/mime_decode_tool.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "mime/ascii.h"
#include "mime/delimiter_lines.h"
#include "tessaly/text/strings.h"

using mime::ContainsNoCase;
using mime::FindNoCase;

namespace {

constexpr std::string_view line_end = "\r\n";
constexpr std::string_view empty_line = "\r\n\r\n";
constexpr std::string_view boundary_parameter = "boundary=";
constexpr auto npos = std::string_view::npos;

constexpr bool IsLineEnd(char c) { return c == '\r' || c == '\n'; }

// The first CR or LF from `at` on; the text's size if there is none.
std::size_t LineEndFrom(std::string_view text, std::size_t at) {
    return static_cast<std::size_t>(
        std::find_if(text.begin() + static_cast<std::ptrdiff_t>(at), text.end(), IsLineEnd) - text.begin());
}

// Whether every CR and LF of a text is part of a CR LF.
bool HasOnlyCrLf(std::string_view text) {
    std::size_t at = 0;
    for (std::size_t end; (end = text.find('\n', at)) != npos; at = end + 1)
        if (text.substr(at, end - at).find('\r') + 1 != end - at || end == at) return false;
    return text.find('\r', at) == npos;
}

struct Message {
    std::string_view header, body;
};

// `text` has line ends CR LF.
Message Divide(std::string_view text) {
    std::size_t const first = text.find(line_end);
    std::size_t const empty = text.find(empty_line);
    if (first == npos || empty == npos) return {{}, text};
    if (first == 0) return {{}, text.substr(line_end.size())};
    return {text.substr(0, empty + line_end.size()), text.substr(empty + empty_line.size())};
}

// Joins folded lines; false when a CR or LF stands alone, which is dropped like a line end that folds.
bool Unfold(std::string_view header, std::string& unfolded) {
    bool whole = true;
    unfolded.reserve(header.size());
    for (std::size_t at = 0; at < header.size();) {
        std::size_t const end = LineEndFrom(header, at);
        unfolded.append(header.substr(at, end - at));
        if (end == header.size()) break;
        bool const pair = header.substr(end, line_end.size()) == line_end;
        whole = whole && pair;
        at = end + (pair ? line_end.size() : 1);
        if (at < header.size() && (header[at] == ' ' || header[at] == '\t'))
            ++at;
        else
            unfolded.append(line_end);
    }
    return whole;
}

bool TakeHeaders(std::string_view header, MimeDecodeTool::Headers& headers) {
    headers.RemoveAll();
    std::string unfolded;
    bool whole = Unfold(header, unfolded);
    std::string_view const text = unfolded;
    std::size_t end;
    for (std::size_t at = 0; (end = text.find(line_end, at)) != npos; at = end + line_end.size()) {
        std::string_view const line = text.substr(at, end - at);
        std::size_t const colon = line.find(':');
        whole = whole && colon != npos;
        headers.Add(
            {CString(line.substr(0, colon)), colon == npos ? CString() : CString(line.substr(colon + 1))});
    }
    return whole;
}

// The first header of a name, null if there is none.
MimeHeaderStruct const* FirstNamed(MimeFormatStruct const& entity, std::string_view name) {
    for (MimeHeaderStruct const& header : entity.m_aHeader)
        if (mime::EqualNoCase(header.m_strName.View(), name)) return &header;
    return nullptr;
}

void TakeFirst(MimeFormatStruct const& entity, char const* header_name, CString& name, CString& value) {
    if (MimeHeaderStruct const* header = FirstNamed(entity, header_name)) {
        name = header->m_strName;
        value = header->m_strValue;
    }
}

bool TakeBoundary(std::string_view params, std::string_view& boundary) {
    std::size_t const at = mime::FindParameter(params, boundary_parameter);
    if (at == npos) return false;
    boundary = params.substr(at);
    if (boundary.starts_with('"')) {
        std::size_t const close = boundary.find('"', 1);
        if (close == npos) return false;
        boundary = boundary.substr(1, close - 1);
    } else {
        boundary = boundary.substr(0, boundary.find(';'));
    }
    boundary = mime::TrimmedRight(boundary);
    return true;
}

struct ContentType {
    std::string_view type, subtype, params;
};

ContentType Divided(std::string_view value) {
    std::size_t const slash = value.find('/');
    if (slash == npos) return {value, {}, {}};
    std::string_view const rest = value.substr(slash + 1);
    std::size_t const end = std::min(rest.find(';'), rest.size());
    return {value.substr(0, slash), rest.substr(0, end), rest.substr(end)};
}

// Decodes a text with all its parts. Parts not yet decoded wait in a list, not on the stack.
class Decoding {
  public:
    explicit Decoding(std::string_view text) : text_(text), delimiters_(text) {}

    bool Run(MimeFormatStruct& out) {
        waiting_.push_back({text_, &out});
        while (!waiting_.empty()) {
            Waiting const next = waiting_.back();
            waiting_.pop_back();
            Decode(next.text, *next.entity);
        }
        return whole_;
    }

  private:
    struct Waiting {
        std::string_view text;
        MimeFormatStruct* entity;
    };

    void Decode(std::string_view text, MimeFormatStruct& entity) {
        Message const message = Divide(text);
        Require(TakeHeaders(message.header, entity.m_aHeader));
        TakeFirst(entity, "content-disposition", entity.m_strContentDispositionName,
                  entity.m_strContentDisposition);
        TakeFirst(entity, "content-transfer-encoding", entity.m_strContentTransferEncodingName,
                  entity.m_strContentTransferEncoding);
        TakeFirst(entity, "content-type", entity.m_strContentTypeName, entity.m_strContentType);
        if (MimeHeaderStruct const* version = FirstNamed(entity, "mime-version"))
            entity.m_dMimeVersion = static_cast<double>(std::atol(version->m_strValue));
        ContentType const type = Divided(entity.m_strContentType.View());
        if (ContainsNoCase(type.type, "multipart"))
            DecodeParts(message.body, type.params, entity);
        else if (ContainsNoCase(type.type, "message") && ContainsNoCase(type.subtype, "rfc822"))
            AddChildren({message.body}, entity);
        else
            entity.m_strBody = CString(message.body);
    }

    void DecodeParts(std::string_view body, std::string_view params, MimeFormatStruct& entity) {
        std::string_view boundary;
        if (!TakeBoundary(params, boundary)) {
            Require(false);
            entity.m_strBody = CString(body);
            return;
        }
        entity.m_strBoundary = CString(boundary);
        std::vector<std::string_view> parts;
        Require(DivideParts(delimiters_.Of(boundary), text_, body, boundary.size(), parts));
        AddChildren(parts, entity);
    }

    void AddChildren(std::vector<std::string_view> const& parts, MimeFormatStruct& entity) {
        entity.m_bHasChild = 1;
        entity.m_aChild.SetSize(static_cast<int>(parts.size()));
        for (std::size_t i = 0; i < parts.size(); ++i)
            waiting_.push_back({parts[i], &entity.m_aChild[static_cast<int>(i)]});
    }

    void Require(bool condition) { whole_ = whole_ && condition; }

    std::string_view text_;
    mime::DelimiterLines delimiters_;
    std::vector<Waiting> waiting_;
    bool whole_ = true;
};

}  // namespace

int MimeDecodeTool::MimeDecode(CString text, MimeFormatStruct& out) {
    out.Init();
    if (HasOnlyCrLf(text.View())) return Decoding(text.View()).Run(out) ? 1 : 0;
    CString const normal = CrLfConverter(text);
    return Decoding(normal.View()).Run(out) ? 1 : 0;
}

void MimeDecodeTool::GetHeaderInfo(CString name, Headers& found, MimeFormatStruct& entity) {
    Headers matching;
    for (MimeHeaderStruct const& header : entity.m_aHeader)
        if (mime::EqualNoCase(header.m_strName.View(), name.View())) matching.Add(header);
    found.Items().swap(matching.Items());
}

void MimeDecodeTool::SplitContentType(CString value, CString& type, CString& subtype, CString& params) {
    ContentType const divided = Divided(value.View());
    type = CString(divided.type);
    subtype = CString(divided.subtype);
    params = CString(divided.params);
}

char* MimeDecodeTool::stristr(char const* text, char const* what) {
    if (!IsStrAscii(what)) return xcstristr(text, what);
    std::string_view const searched = text ? text : "", wanted = what ? what : "";
    std::size_t const at = FindNoCase(searched, wanted);
    return at == npos || !text ? nullptr : const_cast<char*>(text) + at;
}

void MimeDecodeTool::CopyMimeFormatStruct(MimeFormatStruct& dst, MimeFormatStruct& src) {
    MimeFormatStruct::Copy(dst, src);
}

void MimeDecodeTool::SplitHeaderBody(CString text, CString& header, CString& body) {
    CString const normal = CrLfConverter(text);
    Message const message = Divide(normal.View());
    header = CString(message.header);
    body = CString(message.body);
}

CString MimeDecodeTool::CrLfConv(CString text) { return CrLfConverter(text); }

int MimeDecodeTool::SplitMailHeader(CString header, Headers& headers) {
    return TakeHeaders(header.View(), headers) ? 1 : 0;
}

int MimeDecodeTool::SplitMailBody(CString body, CArray<CString, CString>& parts, CString boundary) {
    std::string_view const text = body.View();
    mime::DelimiterLines lines(text);
    std::vector<std::string_view> found;
    bool const whole = DivideParts(lines.Of(boundary.View()), text, text, boundary.View().size(), found);
    parts.RemoveAll();
    for (std::string_view const part : found) parts.Add(CString(part));
    return whole ? 1 : 0;
}
