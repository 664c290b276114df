#include "engine/mails/jis_template.h"

#include <algorithm>
#include <string_view>

#include "engine/mails/mail_text.h"
#include "tessaly/text.h"

namespace engine {
namespace {

constexpr std::string_view to_kanji = "\x1B$B", to_ascii = "\x1B(B";
constexpr int word_birthday = 8;  // whose value is cut after it was made mailable
constexpr std::size_t expected_value = 32;

bool IsPrintable(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c <= 0x7E; });
}

// A voiced or semi-voiced mark: one character together with the kana before it.
bool BeginsWithMark(std::string_view text) {
    return !text.empty() && (text[0] == '\xDE' || text[0] == '\xDF');
}

bool EndsInLeadByte(std::string_view text) {
    std::size_t last = 0;
    for (std::size_t at = 0; at < text.size(); at += platform::WholeCharacterSize(text, at)) last = at;
    return !text.empty() && last + 1 == text.size() && platform::IsLeadByte(text[last]);
}

// A CR or an LF at the end that is not half of a line end already.
bool EndsInHalfLineEnd(std::string_view text) {
    std::size_t at = text.find_last_not_of("\r\n") + 1;
    while (at + 1 < text.size()) at += text[at] != text[at + 1] ? 2 : 1;
    return at + 1 == text.size();
}

// Whether the text is of ASCII and whole double-byte characters only, so that its end is one for the
// conversion too.
bool IsOfTwoSets(std::string_view text) {
    for (std::size_t at = 0, size; at < text.size(); at += size) {
        size = platform::WholeCharacterSize(text, at);
        bool const ascii = static_cast<unsigned char>(text[at]) < 0x80 && text[at] != '\x1B';
        if (size == 1 && !ascii) return false;
    }
    return true;
}

}  // namespace

JisTemplate::JisTemplate(CString const& text, Use use) : use_(use) {
    auto const marks = use == Use::html_part ? delivery::MergeMarks::html : delivery::MergeMarks::plain;
    for (auto const& [stretch, word] : delivery::MergePieces(text.View(), marks)) {
        std::optional<Run> run = TextRun(stretch);
        if (!run) return;
        expected_size_ += run->jis.View().size() + expected_value;
        std::size_t value = no_value;
        if (word != MailWordInsert::no_word) {
            auto const known = std::find(words_.begin(), words_.end(), word);
            value = static_cast<std::size_t>(known - words_.begin());
            if (known == words_.end()) words_.push_back(word);
        }
        pieces_.push_back({std::move(*run), value});
    }
    usable_ = true;
}

void JisTemplate::SetJis(std::string_view text, Run& run) {
    KCodeC code;
    CString const source(text);
    std::string_view jis = code.sjtojis7(source, KCodeC::keep_kana);
    run.begins_in_kanji = jis.starts_with(to_kanji);
    if (run.begins_in_kanji) jis.remove_prefix(to_kanji.size());
    run.ends_in_kanji = jis.ends_with(to_ascii);
    if (run.ends_in_kanji) jis.remove_suffix(to_ascii.size());
    run.jis = jis;
}

// False for a line that is too long by itself.
bool JisTemplate::MeasureLines(std::string_view mailable, Run& run) {
    std::size_t size = 0;
    bool in_kanji = false;
    for (std::size_t at = 0; at < mailable.size();) {
        std::size_t const bytes = platform::CharacterSize(mailable, at);
        if (mailable[at] == '\r') {
            if (!run.has_line_end) run.first_line = size;
            run.has_line_end = true;
            size = 0;
            in_kanji = false;
            at += 2;
            continue;
        }
        if ((bytes == 2) != in_kanji) size += bytes == 2 ? to_kanji.size() + to_ascii.size() : 0;
        in_kanji = bytes == 2;
        size += bytes;
        if (size > longest_mailable_line) return false;
        at += bytes;
    }
    run.last_line = size;
    if (!run.has_line_end) run.first_line = size;
    return true;
}

std::optional<JisTemplate::Run> JisTemplate::TextRun(std::string_view text) const {
    Run run;
    if (use_ != Use::body) {
        if (!IsOfTwoSets(text)) return std::nullopt;
        SetJis(text, run);
        return run;
    }
    run.joins_left = BeginsWithMark(text);
    run.joins_right = EndsInLeadByte(text) || EndsInHalfLineEnd(text);
    CString const mailable = CrLfConverter(Mailable(CString(text), false));
    if (!MeasureLines(mailable.View(), run)) return std::nullopt;
    SetJis(mailable.View(), run);
    return run;
}

std::optional<JisTemplate::Run> JisTemplate::ValueRun(OneCustomer const& customer, int word) const {
    CString const value = delivery::MergeValue(customer, word);
    if (use_ == Use::body && !IsPrintable(value.View())) return TextRun(value.View());
    CString text = value;
    if (!IsPrintable(value.View())) {
        if (word == word_birthday) return std::nullopt;
        text = CrLfConverter(Mailable(value, false));
    }
    if (use_ == Use::html_part) text = delivery::HtmlEscaped(text);
    Run run;
    if (IsPrintable(text.View()))
        run.jis = text;
    else
        SetJis(text.View(), run);
    run.first_line = run.last_line = run.jis.View().size();
    return run;
}

// Appends runs to a text.
class JisTemplate::Output {
  public:
    Output(CString& text, bool limits_lines) : text_(text), limits_lines_(limits_lines) {}

    // False: the plain way gives another text.
    [[nodiscard]] bool Add(Run const& run) {
        if (run.jis.IsEmpty()) return true;
        if (joins_ || (run.joins_left && any_)) return false;
        if (limits_lines_ && line_ + run.first_line > longest_mailable_line) return false;
        line_ = run.has_line_end ? run.last_line : line_ + run.first_line;
        Enter(run.begins_in_kanji);
        text_ += run.jis;
        in_kanji_ = run.ends_in_kanji;
        joins_ = run.joins_right;
        any_ = true;
        return true;
    }
    // A merged text is never empty.
    void End() {
        if (!any_) text_ += ' ';
        Enter(false);
    }

  private:
    void Enter(bool kanji) {
        if (kanji != in_kanji_) text_ += kanji ? to_kanji : to_ascii;
    }

    CString& text_;
    bool const limits_lines_;
    bool in_kanji_ = false, joins_ = false, any_ = false;
    std::size_t line_ = 0;  // bytes of the last line at most
};

bool JisTemplate::AppendMerged(OneCustomer const& customer, CString& out) const {
    if (!usable_) return false;
    std::vector<Run> values;
    values.reserve(words_.size());
    for (int const word : words_) {
        std::optional<Run> value = ValueRun(customer, word);
        if (!value) return false;
        values.push_back(std::move(*value));
    }
    Output output(out, use_ == Use::body);
    for (Piece const& piece : pieces_) {
        if (!output.Add(piece.text)) return false;
        if (piece.value != no_value && !output.Add(values[piece.value])) return false;
    }
    output.End();
    return true;
}

}  // namespace engine
