#include "engine/incoming/mail_reader.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "engine/base/charset.h"
#include "engine/base/crossing.h"
#include "engine/base/lower_case.h"
#include "engine/base/trimmed.h"
#include "engine/incoming/mail_lines.h"
#include "engine/incoming/mime_reading.h"
#include "engine/mails/received_text.h"

namespace engine {
namespace {

constexpr auto npos = std::string_view::npos;

constexpr std::size_t most_entities = 1000;
constexpr int most_levels = 50;
constexpr std::size_t most_fields = 10000;
constexpr std::size_t most_header = 4 << 20;  // bytes, of all messages
constexpr std::size_t longest_field = 256 << 10;
constexpr std::size_t most_text = 4 << 20;       // of all parts
constexpr std::size_t largest_file = 1 << 20;    // that is kept
constexpr std::size_t least_unpacked = 1 << 20;  // for messages in a transfer encoding
constexpr int most_guesses = 3;

// Why the text of an entity ended.
struct Delimiter {
    static constexpr int end_of_text = -1;
    int level = end_of_text;  // of the multipart that it belongs to
    bool closes = false;
};

struct Body {
    std::string_view text;
    Delimiter ended_by;
};

// What the fields of an entity say about it.
struct Entity {
    MimeType type;
    std::string encoding, name;
    bool attached = false;
};

// The name of a field at the start of its line; empty if it is none (RFC 5322 2.2; 4.5.8 for the blank).
std::string_view FieldName(std::string_view line) {
    std::size_t const end =
        std::find_if(line.begin(), line.end(), [](char c) { return c <= ' ' || c > '~' || c == ':'; }) -
        line.begin();
    std::size_t const colon = line.find_first_not_of(" \t", end);
    return end > 0 && colon != npos && line[colon] == ':' ? line.substr(0, end) : std::string_view();
}

bool IsBlank(std::string_view line) { return line.find_first_not_of(" \t") == npos; }

bool IsMboxLine(std::string_view line) {
    while (line.starts_with('>')) line.remove_prefix(1);
    return line.starts_with("From ");
}

class Reader {
  public:
    explicit Reader(std::string_view raw)
        : lines_(raw), unpacked_left_(std::max(raw.size(), least_unpacked)) {}

    MailTree Read() {
        TakeMessage(-1, 0);
        return std::move(tree_);
    }

  private:
    // ---- header

    // Blank lines and lines of a mailbox file in front of a header; nothing where no header follows.
    void SkipToHeader() {
        MailLines ahead = lines_;
        if (ahead.Text().substr(ahead.At()).starts_with(byte_order_mark))
            ahead.MoveTo(ahead.At() + byte_order_mark.size());
        for (; !ahead.AtEnd(); ahead.MoveTo(ahead.Peek().next)) {
            auto const line = ahead.Peek();
            std::string_view const text = ahead.TextOf(line);
            if (IsBlank(text) || IsMboxLine(text)) continue;
            if (!FieldName(text).empty()) lines_.MoveTo(line.begin);
            return;
        }
    }

    // Whether a line that is no field stands within a header: fields follow before an empty line.
    bool GoesOn() const {
        constexpr int lines_looked_at = 10;
        MailLines ahead = lines_;
        for (int i = 0; i < lines_looked_at && !ahead.AtEnd(); ++i) {
            ahead.MoveTo(ahead.Peek().next);
            std::string_view const text = ahead.TextOf(ahead.Peek());
            if (text.empty() || (text.starts_with("--") && DelimiterIn(text))) return false;
            if (!FieldName(text).empty()) return true;
        }
        return false;
    }

    // The fields up to the empty line that ends them, which is taken too, or to a delimiter. A line of blanks
    // ends them if no other follows.
    std::vector<IncomingField> TakeHeader() {
        std::vector<IncomingField> fields;
        IncomingField* last = nullptr;  // null: a field that is left out
        for (; !lines_.AtEnd(); lines_.MoveTo(lines_.Peek().next)) {
            auto const line = lines_.Peek();
            std::string_view const text = lines_.TextOf(line);
            if (text.empty() || (IsBlank(text) && !GoesOn())) {
                lines_.MoveTo(line.next);
                break;
            }
            if (text.starts_with("--") && DelimiterIn(text)) break;
            if (text.front() == ' ' || text.front() == '\t') {
                if (last) Append(*last, text);
                continue;
            }
            std::string_view const name = FieldName(text);
            if (name.empty()) {
                if (!text.starts_with("--") && GoesOn()) continue;
                break;
            }
            last = nullptr;
            if (fields.size() >= most_fields || header_size_ >= most_header) {
                tree_.whole = false;
                continue;
            }
            last = &fields.emplace_back(IncomingField{std::string(name.substr(0, longest_field)), {}});
            header_size_ += sizeof(IncomingField) + last->name.size();
            Append(*last, text.substr(text.find(':', name.size()) + 1));
        }
        for (IncomingField& field : fields) field.value = Trimmed(field.value);
        return fields;
    }

    void Append(IncomingField& field, std::string_view text) {
        std::size_t const room =
            std::min(longest_field - field.value.size(), most_header - std::min(most_header, header_size_));
        if (text.size() > room) tree_.whole = false;
        field.value += text.substr(0, room);
        header_size_ += std::min(text.size(), room);
    }

    static std::string_view ValueOf(std::vector<IncomingField> const& fields, std::string_view name) {
        for (IncomingField const& field : fields)
            if (EqualNoCase(field.name, name)) return field.value;
        return {};
    }

    static Entity EntityOf(std::vector<IncomingField> const& fields, bool in_digest) {
        std::string_view const type = ValueOf(fields, "content-type"),
                               disposition = ValueOf(fields, "content-disposition");
        Entity entity;
        entity.type = ReadMimeType(type.empty() && in_digest ? "message/rfc822" : type);
        entity.encoding = ValueOf(fields, "content-transfer-encoding");
        entity.attached = IsAttachment(disposition);
        entity.name = OnOneLine(NameOfPart(disposition, type));
        return entity;
    }

    // ---- delimiters

    std::optional<Delimiter> DelimiterIn(std::string_view line) const {
        line.remove_prefix(2);
        line = line.substr(0, line.find_last_not_of(" \t") + 1);
        for (int level = static_cast<int>(boundaries_.size()); level-- > 0;) {
            std::string const& boundary = boundaries_[static_cast<std::size_t>(level)];
            if (!line.starts_with(boundary)) continue;
            if (line.size() == boundary.size()) return Delimiter{level, false};
            if (line.substr(boundary.size()) == "--") return Delimiter{level, true};
        }
        return {};
    }

    // What follows up to the next delimiter of any multipart around, which is taken too. The line end before
    // it belongs to it.
    Body TakeBody() {
        std::size_t const begin = lines_.At();
        if (boundaries_.empty()) {
            lines_.MoveTo(lines_.Text().size());
            return {lines_.Text().substr(begin), {}};
        }
        std::size_t end = begin;
        for (; !lines_.AtEnd();) {
            auto const line = lines_.Peek();
            std::string_view const text = lines_.TextOf(line);
            lines_.MoveTo(line.next);
            if (text.starts_with("--"))
                if (auto const delimiter = DelimiterIn(text))
                    return {lines_.Text().substr(begin, end - begin), *delimiter};
            end = line.end;
        }
        return {lines_.Text().substr(begin), {}};
    }

    // ---- entities

    bool IsFull() const { return tree_.nodes.size() >= most_entities; }

    MailNode& AddNode(MailNode::Kind kind, int depth, std::size_t index, MimeType const& type) {
        return tree_.nodes.emplace_back(MailNode{kind, depth, index, type.Full(), type.report_type});
    }

    Delimiter LeaveOut() {
        tree_.whole = false;
        if (!IsFull()) return TakeBody().ended_by;
        lines_.MoveTo(lines_.Text().size());
        return {};
    }

    // A message from its header on.
    Delimiter TakeMessage(int parent, int depth) {
        SkipToHeader();
        std::size_t const message = tree_.messages.size();
        tree_.messages.push_back({TakeHeader(), parent});
        return TakeEntity(message, EntityOf(tree_.messages[message].fields, false), depth);
    }

    Delimiter TakeEntity(std::size_t message, Entity const& entity, int depth) {
        if (IsFull() || depth >= most_levels) return LeaveOut();
        MimeType const& type = entity.type;
        if (type.type == "multipart" && !type.boundary.empty()) return TakeParts(message, entity, depth);
        if (type.type == "multipart") return TakePartsOfUnknownBoundary(message, entity, depth);
        if (type.type == "message" && (type.subtype == "rfc822" || type.subtype == "global" ||
                                       type.subtype == "news" || type.subtype == "partial"))
            return TakeInnerMessage(message, entity, depth);
        if (type.subtype == "rfc822-headers" || type.subtype == "rfc822-header" ||
            (type.type == "message" && type.subtype == "global-headers"))
            return TakeHeaderAlone(message, entity, depth);
        return TakeLeaf(message, entity, depth);
    }

    Delimiter TakeParts(std::size_t message, Entity const& entity, int depth) {
        std::size_t const begin = lines_.At();
        boundaries_.push_back(entity.type.boundary);
        int const level = static_cast<int>(boundaries_.size()) - 1;
        Delimiter delimiter = TakeBody().ended_by;
        if (delimiter.level != level) {
            boundaries_.pop_back();
            lines_.MoveTo(begin);
            return TakePartsOfUnknownBoundary(message, entity, depth);
        }
        AddNode(MailNode::Kind::parts, depth, 0, entity.type);
        bool const digest = entity.type.subtype == "digest";
        while (delimiter.level == level && !delimiter.closes)
            delimiter = TakeEntity(message, EntityOf(TakeHeader(), digest), depth + 1);
        boundaries_.pop_back();
        return delimiter.level == level ? TakeBody().ended_by : delimiter;
    }

    // The boundary is that of the first line that looks like a delimiter: fields of MIME follow it. Without
    // one the whole is a text.
    Delimiter TakePartsOfUnknownBoundary(std::size_t message, Entity const& entity, int depth) {
        Entity guessed = entity;
        guessed.type.boundary = guesses_++ < most_guesses ? GuessedBoundary() : "";
        if (!guessed.type.boundary.empty()) return TakeParts(message, guessed, depth);
        guessed.type = {"text", "plain", {}, entity.type.charset, {}};
        return TakeLeaf(message, guessed, depth);
    }

    std::string GuessedBoundary() const {
        constexpr std::size_t longest_boundary = 200;
        std::string_view candidate;
        for (MailLines ahead = lines_; !ahead.AtEnd(); ahead.MoveTo(ahead.Peek().next)) {
            std::string_view const text = ahead.TextOf(ahead.Peek());
            if (!candidate.empty() && LowerCase(text.substr(0, 8)) == "content-")
                return std::string(candidate);
            if (text.starts_with("--") && DelimiterIn(text)) return {};
            candidate =
                text.starts_with("--") && text.size() < longest_boundary ? Trimmed(text.substr(2)) : "";
        }
        return {};
    }

    Delimiter TakeInnerMessage(std::size_t message, Entity const& entity, int depth) {
        AddNode(MailNode::Kind::message, depth, tree_.messages.size(), entity.type);
        if (!IsEncoding(entity.encoding)) return TakeMessage(static_cast<int>(message), depth + 1);
        Body const body = TakeBody();
        std::string const content = Unpacked(entity, body.text);
        ReadApart(content, [&] { TakeMessage(static_cast<int>(message), depth + 1); });
        unpacked_left_ += content.size();
        return body.ended_by;
    }

    // A message in a transfer encoding, which it may claim without having it.
    std::string Unpacked(Entity const& entity, std::string_view text) {
        std::string_view const start = Trimmed(text.substr(0, longest_field));
        std::string_view const header = start.substr(0, std::min(start.find("\n\n"), start.find("\n\r\n")));
        bool const quoted = LowerCase(Trimmed(entity.encoding)) == "quoted-printable";
        bool const encoded =
            quoted ? header.find("=3D") != npos || header.find("=\n") != npos || header.find("=\r\n") != npos
                   : FieldName(start.substr(0, start.find_first_of("\r\n"))).empty();
        Untransferred unpacked =
            WithoutTransferEncoding(encoded ? entity.encoding : "8bit", text, unpacked_left_);
        if (unpacked.size > unpacked.content.size()) tree_.whole = false;
        unpacked_left_ -= unpacked.content.size();
        return std::move(unpacked.content);
    }

    Delimiter TakeHeaderAlone(std::size_t message, Entity const& entity, int depth) {
        Body const body = TakeBody();
        AddNode(MailNode::Kind::header_alone, depth, tree_.messages.size(), entity.type);
        std::string const content =
            WithoutTransferEncoding(entity.encoding, body.text.substr(0, 2 * most_header), most_header)
                .content;
        ReadApart(content, [&] {
            SkipToHeader();
            tree_.messages.push_back({TakeHeader(), static_cast<int>(message)});
        });
        return body.ended_by;
    }

    // Reads a text of its own, to which the delimiters around do not belong.
    template <class Read>
    void ReadApart(std::string_view text, Read read) {
        auto const lines = std::exchange(lines_, MailLines(text));
        auto boundaries = std::exchange(boundaries_, {});
        read();
        lines_ = lines;
        boundaries_ = std::move(boundaries);
    }

    Delimiter TakeLeaf(std::size_t message, Entity const& entity, int depth) {
        Body const body = TakeBody();
        AddNode(MailNode::Kind::leaf, depth, tree_.parts.size(), entity.type);
        IncomingPart& part = tree_.parts.emplace_back();
        part.message = message;
        part.type = entity.type.Full();
        part.name = entity.name;
        part.attached = entity.attached;
        part.text = entity.type.type == "text" || entity.type.type == "message";
        std::size_t const limit = part.text ? text_left_ : largest_file;
        Untransferred decoded = WithoutTransferEncoding(entity.encoding, body.text, limit);
        part.size = decoded.size;
        if (!part.text) {
            if (decoded.size <= largest_file) part.content = std::move(decoded.content);
            return body.ended_by;
        }
        if (decoded.size > limit) CutBehindLine(decoded.content);
        part.content = WithLineFeeds(TextIn(entity.type.charset, std::move(decoded.content)));
        text_left_ -= std::min(text_left_, part.content.size());
        return body.ended_by;
    }

    // No character is cut in two.
    static void CutBehindLine(std::string& text) {
        std::size_t const end = text.find_last_of("\r\n");
        if (end != npos) text.resize(end + 1);
    }

    static std::string WithLineFeeds(std::string text) {
        if (text.find('\r') == npos) return text;
        std::string result;
        result.reserve(text.size());
        for (MailLines lines(text); !lines.AtEnd();) {
            auto const line = lines.Peek();
            result += lines.TextOf(line);
            if (line.next > line.end) result += '\n';
            lines.MoveTo(line.next);
        }
        return result;
    }

    MailLines lines_;
    std::vector<std::string> boundaries_;  // of the multiparts that are open, the innermost last
    MailTree tree_;
    std::size_t header_size_ = 0, text_left_ = most_text, unpacked_left_;
    int guesses_ = 0;
};

}  // namespace

MailTree ReadMail(std::string_view raw) { return Reader(raw).Read(); }

}  // namespace engine
