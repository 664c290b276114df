#pragma once

#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "tessaly/mime/mime_format_struct.h"
#include "tessaly/platform/cstring.h"

namespace compose {

// The text of a mail under construction, from its innermost level outwards. It holds pieces; large ones are
// copied once, when the body is made. The parts must stay until then.
class MimeText {
  public:
    // `draw_boundary` gives a new boundary at every call.
    explicit MimeText(std::function<CString()> draw_boundary) : draw_boundary_(std::move(draw_boundary)) {}

    // A mail of one part.
    void Single(MimeFormatStruct const& part);
    // The text part of a larger mail, which has the MIME version itself.
    void Text(MimeFormatStruct const& part);
    // The levels, each around the parts so far.
    void Alternative(MimeFormatStruct const& html);
    void Related(MimeFormatStruct::Children const& parts) { Enclose("related", parts); }
    void Mixed(MimeFormatStruct::Children const& parts) { Enclose("mixed", parts); }

    CString Header() const { return CString(std::string_view(header_)); }
    CString Body() const;

  private:
    using Pieces = std::vector<std::string_view>;

    void Enclose(char const* subtype, MimeFormatStruct::Children const& parts);
    void AddPart(Pieces& pieces, MimeFormatStruct const& part);
    std::string_view Keep(std::string text) { return owned_.emplace_back(std::move(text)); }
    std::string UnusedBoundary(Pieces const& pieces) const;
    // Makes header and body so far an entity inside `pieces`.
    void MoveInto(Pieces& pieces);
    void SetMultipart(char const* subtype, std::string const& boundary);

    std::function<CString()> draw_boundary_;
    std::string header_;  // lines, each with its CR LF
    Pieces body_;
    std::deque<std::string> owned_;
};

}  // namespace compose
