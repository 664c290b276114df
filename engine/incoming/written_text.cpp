#include "engine/incoming/written_text.h"

#include <algorithm>
#include <array>

#include "engine/base/crossing.h"
#include "engine/base/trimmed.h"
#include "engine/incoming/folded_text.h"
#include "engine/mails/html_source.h"
#include "engine/mails/html_tokens.h"

namespace engine {
namespace {

// The first `limit` bytes, up to the end of a character.
std::string_view StartOf(std::string_view text, std::size_t limit) {
    if (text.size() <= limit) return text;
    while (limit > 0 && (static_cast<unsigned char>(text[limit]) & 0xC0) == 0x80) --limit;
    return text.substr(0, limit);
}

// Pages say the same with several times as many bytes.
constexpr std::size_t page_to_text = 4;

std::string TextOfPage(std::string_view page) {
    page = StartOf(page, read_of_texts * page_to_text);
    std::string kept;
    std::size_t done = 0;
    int depth = 0;
    auto const keep_up_to = [&](std::size_t end) {
        if (depth == 0) kept += page.substr(done, end - done);
        done = end;
    };
    HtmlTokens tokens(page);
    for (HtmlTag tag; tokens.Next(tag);) {
        if (tag.name == "blockquote") {
            keep_up_to(tag.begin);
            if (!tag.is_end)
                ++depth;
            else if (depth > 0)
                --depth;
            if (depth == 0) kept += "<br>";
            done = tag.end;
        } else if (tag.name == "refuse" && !tag.is_end && depth == 0) {
            keep_up_to(tag.begin);
            kept += "&lt;REFUSE&gt;";
            done = tag.end;
        }
    }
    keep_up_to(page.size());
    return Out(TextOfHtml(IntoWithGeta(kept)));
}

std::string_view NextLine(std::string_view& text) {
    std::size_t const end = std::min(text.find('\n'), text.size());
    std::string_view const line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return Trimmed(line);
}

bool ContainsOneOf(std::string_view text, auto const& words) {
    return std::any_of(std::begin(words), std::end(words),
                       [&](std::string_view word) { return text.find(word) != text.npos; });
}

bool StartsWithOneOf(std::string_view text, auto const& words) {
    return std::any_of(std::begin(words), std::end(words),
                       [&](std::string_view word) { return text.starts_with(word); });
}

// On a line of dashes.
constexpr std::string_view copy_words[] = {
    "original message", "original mail",    "copy of the message",  "copy of your message", "message header",
    "unsent message",   "returned message", "forwarded message",    "元のメッセージ",       "元のメール",
    "転送メッセージ",   "転送されたメール", "オリジナルメッセージ", "original follows",     "ここから引用"};
constexpr std::string_view copy_starts[] = {"begin forwarded message", "received: from ", "return-path: <",
                                            "____________"};
constexpr std::string_view header_names[] = {"from:",   "sent:",   "to:",       "subject:", "date:", "cc:",
                                             "差出人:", "送信者:", "送信日時:", "宛先:",    "件名:", "日時:"};
// "On … wrote:", "2026年…のメール:"
constexpr std::string_view attribution_words[] = {"wrote",    "writes",     "@",
                                                  "のメール", "書きました", "のメッセージ"};
constexpr std::string_view device_signatures[] = {"sent from my",           "iphoneから送信",
                                                  "ipadから送信",           "androidから送信",
                                                  "スマートフォンから送信", "get outlook for"};

bool AnnouncesCopy(std::string_view line) {
    if (line.empty()) return false;
    bool const ruled = line[0] == '-' || line[0] == '=' || line[0] == '*';
    return (ruled && ContainsOneOf(line, copy_words)) || StartsWithOneOf(line, copy_starts);
}

// "> ", and the initials of a writer in front of it.
bool IsQuoted(std::string_view line) {
    std::size_t at = 0;
    while (at < 4 && at < line.size() && line[at] >= 'a' && line[at] <= 'z') ++at;
    line.remove_prefix(at);
    if (line.starts_with('>')) return at == 0 || line.starts_with("> ");
    return at == 0 && (line.starts_with('|') || line.starts_with("》") || line.starts_with("≫"));
}

bool IsAttribution(std::string_view line) {
    return line.ends_with(':') && ContainsOneOf(line, attribution_words);
}

}  // namespace

std::string TextOfMessage(IncomingMail const& mail, std::size_t message) {
    std::string text;
    for (bool const pages : {false, true}) {
        for (IncomingPart const& part : mail.Parts()) {
            bool const is_page = part.type == "text/html";
            if (part.message != message || part.attached || !part.text || is_page != pages ||
                !part.type.starts_with("text/") || text.size() >= read_of_texts)
                continue;
            text += is_page ? TextOfPage(part.content) : std::string(StartOf(part.content, read_of_texts));
            if (!text.ends_with('\n')) text += '\n';
        }
        if (!Trimmed(text).empty()) break;
    }
    text.erase(StartOf(text, read_of_texts).size());
    return text;
}

std::vector<std::string_view> OwnLines(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        std::string_view const line = NextLine(text);
        std::string const folded = Folded(line);
        if (folded.empty() || IsQuoted(folded) || StartsWithOneOf(folded, device_signatures)) continue;
        if (folded == "--" || AnnouncesCopy(folded)) break;
        std::string_view rest = text;
        std::string next = Folded(NextLine(rest));
        if (IsAttribution(folded)) {
            while (next.empty() && !rest.empty()) next = Folded(NextLine(rest));
            if (IsQuoted(next)) continue;
            break;
        }
        if (StartsWithOneOf(folded, header_names) && StartsWithOneOf(next, header_names)) break;
        // An attribution on two lines.
        if (folded.find('@') != folded.npos && (next == "wrote:" || next == "のメール:")) continue;
        lines.push_back(line);
    }
    return lines;
}

std::string_view BeforeReturnedCopy(std::string_view text) {
    for (std::string_view rest = text; !rest.empty();) {
        std::size_t const at = text.size() - rest.size();
        std::string const line = Folded(NextLine(rest));
        bool const rejected =
            line == "each of the following recipients was rejected by a remote mail server." &&
            rest.starts_with("---");
        if (rejected || AnnouncesCopy(line)) return text.substr(0, at);
    }
    return text;
}

FoldedSubject FoldSubject(std::string_view subject) {
    constexpr std::string_view marks[] = {"re:", "fw:", "fwd:", "返信:", "転送:", "aw:", "re>", "re^2:"};
    FoldedSubject folded{Folded(subject)};
    for (bool stripped = true; stripped;) {
        stripped = false;
        for (std::string_view const mark : marks)
            if (folded.text.starts_with(mark)) {
                folded.text.erase(0, mark.size());
                folded.text.erase(0, folded.text.find_first_not_of(' '));
                folded.is_answer = stripped = true;
            }
    }
    return folded;
}

std::string AddressIn(std::string_view field) {
    // Without quoted names and comments, which may hold any sign.
    std::string plain;
    bool quoted = false, in_brackets = false;
    int comments = 0;
    for (std::size_t i = 0; i < field.size(); ++i) {
        char const c = field[i];
        if (c == '\\' && (quoted || comments > 0)) {
            ++i;
        } else if (c == '"' && comments == 0 && !in_brackets) {
            quoted = !quoted;
        } else if (!quoted && c == '(') {
            ++comments;
        } else if (!quoted && c == ')' && comments > 0) {
            --comments;
        } else if (!quoted && comments == 0) {
            in_brackets = c == '<' || (in_brackets && c != '>');
            plain += c;
        }
    }
    std::string_view rest = plain;
    if (std::size_t const open = rest.rfind('<'); open != rest.npos)
        rest = rest.substr(open + 1, rest.find('>', open) - open - 1);
    return std::string(Trimmed(rest.substr(0, rest.find(',')), " \t<>"));
}

}  // namespace engine
