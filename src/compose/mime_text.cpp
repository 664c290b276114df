#include "compose/mime_text.h"

#include <algorithm>
#include <climits>
#include <new>

#include "mime/ascii.h"

namespace compose {
namespace {

constexpr std::string_view line_end = "\r\n", fold = "\r\n\t";
constexpr std::size_t pieces_of_part = 2;

// A value is folded behind every ";".
void AppendHeader(std::string& lines, MimeHeaderStruct const& header) {
    lines.append(header.m_strName.View()).append(":");
    for (char const c : header.m_strValue.View()) {
        lines += c;
        if (c == ';') lines += fold;
    }
    lines += line_end;
}

std::string HeaderLines(MimeFormatStruct const& part, bool with_version) {
    std::string lines;
    for (MimeHeaderStruct const& header : part.m_aHeader)
        if (with_version || !mime::ContainsNoCase(header.m_strName.View(), "mime-version"))
            AppendHeader(lines, header);
    return lines;
}

}  // namespace

void MimeText::Single(MimeFormatStruct const& part) {
    header_ = HeaderLines(part, true);
    body_ = {part.m_strBody.View()};
}

void MimeText::Text(MimeFormatStruct const& part) {
    header_ = HeaderLines(part, false);
    body_ = {part.m_strBody.View()};
}

void MimeText::Alternative(MimeFormatStruct const& html) {
    Pieces inner;
    MoveInto(inner);
    std::size_t const text_pieces = inner.size();
    AddPart(inner, html);
    std::string const boundary = UnusedBoundary(inner);
    auto const markup = inner.begin() + static_cast<std::ptrdiff_t>(text_pieces);
    SetMultipart("alternative", boundary);
    body_.push_back(Keep("--" + boundary + "\r\n"));
    body_.insert(body_.end(), inner.begin(), markup);
    body_.push_back(Keep("\r\n--" + boundary + "\r\n"));
    body_.insert(body_.end(), markup, inner.end());
    body_.push_back(Keep("\r\n--" + boundary + "--"));
}

void MimeText::Enclose(char const* subtype, MimeFormatStruct::Children const& parts) {
    Pieces inner;
    MoveInto(inner);
    std::size_t const inner_pieces = inner.size();
    for (MimeFormatStruct const& part : parts) AddPart(inner, part);
    std::string const boundary = UnusedBoundary(inner);
    std::string_view const delimiter = Keep("\r\n--" + boundary + "\r\n");
    SetMultipart(subtype, boundary);
    body_.push_back(delimiter);
    for (std::size_t i = 0; i < inner_pieces; ++i) body_.push_back(inner[i]);
    body_.push_back(line_end);
    for (std::size_t i = inner_pieces; i < inner.size(); i += pieces_of_part) {
        body_.push_back(delimiter);
        for (std::size_t k = i; k < i + pieces_of_part; ++k) body_.push_back(inner[k]);
    }
    body_.push_back(Keep("\r\n--" + boundary + "--\r\n"));
}

// Header lines with the empty line behind them, and the body.
void MimeText::AddPart(Pieces& pieces, MimeFormatStruct const& part) {
    pieces.push_back(Keep(HeaderLines(part, true).append(line_end)));
    pieces.push_back(part.m_strBody.View());
}

void MimeText::MoveInto(Pieces& pieces) {
    pieces.push_back(Keep(header_.append(line_end)));
    pieces.insert(pieces.end(), body_.begin(), body_.end());
    header_.clear();
    body_.clear();
}

// Every piece that could hold a boundary has line ends around it, so none lies across two.
std::string MimeText::UnusedBoundary(Pieces const& pieces) const {
    for (;;) {
        CString const boundary = draw_boundary_();
        auto const holds_it = [&](std::string_view piece) {
            return piece.find(boundary.View()) != std::string_view::npos;
        };
        if (std::none_of(pieces.begin(), pieces.end(), holds_it)) return std::string(boundary.View());
    }
}

void MimeText::SetMultipart(char const* subtype, std::string const& boundary) {
    header_ = std::string("Content-Type: multipart/") + subtype + ";\r\n\tboundary=\"" + boundary +
              "\"\r\nMIME-Version: 1.0\r\n";
}

CString MimeText::Body() const {
    std::size_t size = 0;
    for (std::string_view const piece : body_) size += piece.size();
    if (size > INT_MAX) throw std::bad_alloc();
    CString body;
    char* place = body.GetBuffer(static_cast<int>(size));
    for (std::string_view const piece : body_) place = std::copy(piece.begin(), piece.end(), place);
    body.ReleaseBuffer(static_cast<int>(size));
    return body;
}

}  // namespace compose
