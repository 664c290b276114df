#include "import/line_pieces.h"

#include <algorithm>
#include <utility>

#include "platform/file.h"

namespace customers {
namespace {

constexpr std::size_t piece_size = 1023;
constexpr std::string_view line_end = "\r\n";

}  // namespace

bool LinePieces::Open(char const* path) {
    at_ = 0;
    return platform::ReadWholeFile(path, content_);
}

void LinePieces::Take(std::string content) {
    content_ = std::move(content);
    at_ = 0;
}

std::string_view LinePieces::Piece() {
    std::string_view const rest = std::string_view(content_).substr(at_, piece_size);
    std::string_view const piece = rest.substr(0, std::min(rest.find('\n'), rest.size() - 1) + 1);
    at_ += piece.size();
    return piece.substr(0, piece.find('\0'));
}

void LinePieces::AddPhysicalLine(std::string& line) {
    while (!AtEnd()) {
        std::string_view const piece = Piece();
        line += piece;
        if (piece.ends_with('\n')) break;
    }
    line.resize(line.find_last_not_of(line_end) + 1);
}

void LinePieces::ReadCrLfLine(std::string& line) {
    line.clear();
    while (!AtEnd()) {
        std::string_view const piece = Piece();
        line += piece;
        if (piece.ends_with(line_end)) break;
    }
    while (line.ends_with(line_end)) line.resize(line.size() - line_end.size());
}

}  // namespace customers
