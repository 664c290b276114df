#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "tessaly/customers.h"
#include "tessaly/delivery.h"

namespace engine {

// A text with merge words, prepared for a mailing: divided once, with the text between the words already in
// ISO-2022-JP. For a customer only the values are converted, each once. Measured: composing a mail of 2 KB
// takes about a third of the time that merging, cleaning and converting its whole text takes
// (bench/README.md).
//
// Pieces that are converted alone make the same bytes as the whole text unless a character, a line end, a
// voiced mark or a long line lies across two of them. Such a text, and such a customer's mail, is left to the
// plain way (Merge, MergeInto).
class JisTemplate {
  public:
    enum class Use {
        body,       // the whole becomes mailable (MailableBody)
        text_part,  // the values only, as MergeInto makes them
        html_part,  // and they are escaped for HTML
    };
    // `text`: code page 932.
    JisTemplate(CString const& text, Use use);
    // Appends the merged text, beginning and ending in ASCII. False: it has to go the plain way; `out` then
    // holds a part of it.
    [[nodiscard]] bool AppendMerged(OneCustomer const& customer, CString& out) const;
    // The approximate size of a merged text in bytes.
    std::size_t ExpectedSize() const { return expected_size_; }

  private:
    // A stretch of the text, or a value.
    struct Run {
        CString jis;  // without an escape sequence at either end
        bool begins_in_kanji = false, ends_in_kanji = false;
        bool joins_left = false,
             joins_right = false;  // it could make another text together with its neighbour
        // Bytes of the first and the last line, between escape sequences. They are the same unless there is a
        // line end.
        bool has_line_end = false;
        std::size_t first_line = 0, last_line = 0;
    };
    class Output;

    std::optional<Run> TextRun(std::string_view text) const;
    std::optional<Run> ValueRun(OneCustomer const& customer, int word) const;
    static bool MeasureLines(std::string_view mailable, Run& run);
    static void SetJis(std::string_view text, Run& run);

    static constexpr std::size_t no_value = static_cast<std::size_t>(-1);
    struct Piece {
        Run text;
        std::size_t value;  // index in words_, or no_value
    };

    Use use_;
    bool usable_ = false;
    std::vector<Piece> pieces_;
    std::vector<int> words_;  // each once
    std::size_t expected_size_ = 0;
};

}  // namespace engine
