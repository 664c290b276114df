#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>

#include "tessaly/mime/encoded_words.h"
#include "tessaly/platform/base64_codec.h"

namespace {

constexpr char escape_byte = '\x1B';
constexpr std::string_view fold = "\r\n\t";
constexpr std::string_view word_start = "=?iso-2022-jp?B?";
constexpr std::string_view word_end = "?=";
constexpr std::string_view to_ascii = "\x1B(B";
constexpr std::size_t escape_size = 3;

// Room that a new word needs on the current line.
constexpr std::size_t word_room = 30;
// The Base64 of up to three bytes and of ESC ( B behind them, and the end of the word.
constexpr std::size_t tail_size = 8 + word_end.size();

// The largest result comes from words of few characters: an escape of three bytes and one byte behind it give
// an empty word behind a fold, and a run that just fills a short word gives one more.
constexpr std::size_t FoldedWordsRoom(std::size_t length) { return 8 * length + 64; }

// A piece of a run: one character, or an escape inside the run. Size 0: the run ends.
struct Piece {
    std::size_t size;
    std::string_view character_set;  // at the end of the piece, as its escape
};

std::string_view CharacterSetOf(char const* escape) {
    if (escape[0] != escape_byte) return {};
    if (escape[1] == '$' && (escape[2] == '@' || escape[2] == 'B')) return "\x1B$B";
    if (escape[1] == '(' && escape[2] == 'I') return "\x1B(I";
    return {};
}

bool IsAsciiEscape(char const* place) {
    return place[0] == escape_byte && place[1] == '(' &&
           (place[2] == 'B' || place[2] == 'J' || place[2] == '@');
}

Piece NextPiece(char const* place, std::string_view character_set) {
    constexpr Piece end{0, {}};
    if (*place == '\0') return end;
    if (*place == escape_byte) {
        std::string_view const other = CharacterSetOf(place);
        return other.empty() ? end : Piece{escape_size, other};
    }
    if (character_set[1] != '$') return {1, character_set};
    bool const cut = place[1] == '\0' || place[1] == escape_byte;
    return cut ? end : Piece{2, character_set};
}

// The part of a run in one word.
struct Chunk {
    std::size_t size;
    std::string_view character_set;  // at the end of the chunk
    bool ends_run;
};

// As many whole pieces as fit into `groups` groups and the tail of a word. A run that ends less than three
// bytes behind the groups ends with this word; one that just fills the tail is followed by a word with no
// characters.
Chunk TakeChunk(char const* run, std::string_view character_set, std::size_t groups) {
    std::size_t const limit = 3 * groups + 3;
    for (std::size_t size = 0;;) {
        if (size == limit) return {size, character_set, false};
        Piece const piece = NextPiece(run + size, character_set);
        if (piece.size == 0) return {size, character_set, true};
        if (size + piece.size > limit) return {size, character_set, false};
        size += piece.size;
        character_set = piece.character_set;
    }
}

// The folded value as it grows. The ASCII run behind `plain_` is pending: it may still move to a line of its
// own.
class HeaderLines {
  public:
    explicit HeaderLines(char* out) : out_(out) {}

    void AddPlain(std::string_view text) { Append(text); }

    // Appends the pending ASCII run to the current line or, if it does not fit and has something in front, to
    // the next.
    void EndPlain() {
        std::string_view const plain(out_ + plain_, used_ - plain_);
        bool const too_long = plain_ - line_ + plain.size() > mime::header_line_limit;
        if (plain_ > 0 && too_long) {
            std::memmove(out_ + plain_ + fold.size(), plain.data(), plain.size());
            used_ = plain_;
            Fold();
            used_ += plain.size();
        }
        plain_ = used_;
    }

    // Encodes the run that starts with the escape at `run`. Result: where it ends.
    char const* AddRun(char const* run) {
        std::string_view escape(run, escape_size);
        std::string_view character_set = CharacterSetOf(run);
        run += escape_size;
        FindLineStart();
        for (bool ended = false; !ended;) {
            if (used_ - line_ + word_room > mime::header_line_limit) Fold();
            std::size_t const room = mime::header_line_limit - (used_ - line_) - word_start.size();
            std::size_t const groups = (room - tail_size) / 4 - 1;  // without that of the escape
            Chunk const chunk = TakeChunk(run, character_set, groups);
            AddWord(escape, {run, chunk.size});
            run += chunk.size;
            escape = character_set = chunk.character_set;
            ended = chunk.ends_run;
        }
        plain_ = used_;
        bool const cut_character = *run != '\0' && *run != escape_byte;
        return cut_character ? run + 1 : run;
    }

    void Finish() {
        EndPlain();
        out_[used_] = '\0';
    }

  private:
    void Append(std::string_view text) {
        std::memcpy(out_ + used_, text.data(), text.size());
        used_ += text.size();
    }

    void Fold() {
        Append(fold);
        line_ = used_ - 1;
    }

    // An ASCII run may contain folds.
    void FindLineStart() {
        std::string_view const last(out_ + line_, used_ - line_);
        std::size_t const own_fold = last.rfind("\n\t");
        if (own_fold != last.npos) line_ += own_fold + 1;
    }

    void AddWord(std::string_view escape, std::string_view characters) {
        unsigned char bytes[mime::header_line_limit];
        std::memcpy(bytes, escape.data(), escape_size);
        std::memcpy(bytes + escape_size, characters.data(), characters.size());
        std::memcpy(bytes + escape_size + characters.size(), to_ascii.data(), to_ascii.size());
        Append(word_start);
        used_ +=
            platform::Base64Encode(bytes, escape_size + characters.size() + to_ascii.size(), out_ + used_);
        Append(word_end);
    }

    char* const out_;
    std::size_t used_ = 0;
    std::size_t line_ = 0;   // start of the current line: the TAB of its fold
    std::size_t plain_ = 0;  // start of the pending ASCII run
};

}  // namespace

int MIMEBase64EncodeForJIS(char** out, char const* in) {
    if (!out || *out || !in) return 0;
    char const* const end = in + std::strlen(in);
    auto encoded =
        std::make_unique_for_overwrite<char[]>(FoldedWordsRoom(static_cast<std::size_t>(end - in)));
    HeaderLines lines(encoded.get());
    for (char const* place = in; place < end;) {
        if (!CharacterSetOf(place).empty()) {
            lines.EndPlain();
            place = lines.AddRun(place);
        } else if (IsAsciiEscape(place)) {
            place += escape_size;
        } else {
            // An escape that has no meaning here counts as text.
            void const* const next =
                std::memchr(place + 1, escape_byte, static_cast<std::size_t>(end - place - 1));
            char const* const stop = next ? static_cast<char const*>(next) : end;
            lines.AddPlain({place, static_cast<std::size_t>(stop - place)});
            place = stop;
        }
    }
    lines.Finish();
    *out = encoded.release();
    return 1;
}
