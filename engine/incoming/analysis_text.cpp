#include "engine/incoming/analysis_text.h"

#include <algorithm>
#include <random>

#include "engine/base/crossing.h"
#include "engine/base/lower_case.h"
#include "engine/mails/received_text.h"

namespace engine {
namespace {

// A stranger cannot know it, so no text holds a line of it.
std::string const& Mark() {
    static std::string const mark = [] {
        std::random_device random;
        return "tessaly-" + std::to_string(random()) + "-" + std::to_string(random()) + "-";
    }();
    return mark;
}

// In code page 932. Signs of control become blanks.
std::string InLibraryCode(std::string_view utf8) { return std::string(IntoWithGeta(utf8).View()); }

class Writer {
  public:
    explicit Writer(MailTree const& tree) : tree_(tree) {}

    CString Write() {
        std::size_t node = 0;
        WriteMessage(0, node);
        return CString(std::string_view(text_));
    }

  private:
    void WriteField(std::string_view name, std::string_view value) {
        text_ += InLibraryCode(name);
        text_ += ": ";
        text_ += value;
        text_ += "\r\n";
    }

    // The fields of a message without those that say what its body is.
    void WriteFields(IncomingMessage const& message) {
        for (IncomingField const& field : message.fields) {
            if (LowerCase(std::string_view(field.name).substr(0, 8)) == "content-") continue;
            bool const subject = EqualNoCase(field.name, "subject");
            WriteField(field.name, InLibraryCode(OnOneLine(subject ? DecodedHeader(field.value)
                                                                   : GuessedText(field.value))));
        }
    }

    // `node`: that of its body, which is moved behind it.
    void WriteMessage(std::size_t message, std::size_t& node) {
        WriteFields(tree_.messages[message]);
        WriteNode(node);
    }

    // An entity from its MIME fields on.
    void WriteNode(std::size_t& at) {
        if (at >= tree_.nodes.size()) {
            text_ += "\r\n";
            return;
        }
        MailNode const& node = tree_.nodes[at++];
        switch (node.kind) {
            case MailNode::Kind::parts: return WriteParts(node, at);
            case MailNode::Kind::leaf: return WriteLeaf(tree_.parts[node.index]);
            case MailNode::Kind::header_alone:
                WriteField("Content-Type", "text/rfc822-headers; charset=Shift_JIS");
                text_ += "\r\n";
                return WriteFields(tree_.messages[node.index]);
            case MailNode::Kind::message: break;
        }
        WriteField("Content-Type", "message/rfc822");
        text_ += "\r\n";
        WriteFields(tree_.messages[node.index]);
        if (at < tree_.nodes.size() && tree_.nodes[at].depth > node.depth) return WriteNode(at);
        text_ += "\r\n";
    }

    void WriteParts(MailNode const& node, std::size_t& at) {
        if (at >= tree_.nodes.size() || tree_.nodes[at].depth <= node.depth) {
            IncomingPart nothing;
            nothing.type = "text/plain";
            nothing.text = true;
            return WriteLeaf(nothing);
        }
        std::string const boundary = Mark() + std::to_string(++boundaries_);
        std::string const report = node.report_type.empty()
                                       ? ""
                                       : "; report-type=\"" + InLibraryCode(Plain(node.report_type)) + "\"";
        WriteField("Content-Type",
                   InLibraryCode(Plain(node.type)) + "; boundary=\"" + boundary + "\"" + report);
        while (at < tree_.nodes.size() && tree_.nodes[at].depth > node.depth) {
            text_ += "\r\n--" + boundary + "\r\n";
            WriteNode(at);
        }
        text_ += "\r\n--" + boundary + "--\r\n";
    }

    // The library takes any type that contains these words for one that holds parts.
    static std::string LeafType(IncomingPart const& part) {
        std::string const type = Plain(part.type);
        bool const holds_parts = type.find("multipart") != type.npos ||
                                 (type.find("message") != type.npos && type.find("rfc822") != type.npos);
        if (!holds_parts) return InLibraryCode(type);
        return part.text ? "text/plain" : "application/octet-stream";
    }

    // The library recognises a type by the parameter behind it.
    void WriteLeaf(IncomingPart const& part) {
        std::string const name =
            part.name.empty() ? "" : "; name=\"" + InLibraryCode(Plain(part.name)) + "\"";
        WriteField("Content-Type", LeafType(part) + (part.text ? "; charset=Shift_JIS" : "") + name +
                                       (part.text || !name.empty() ? "" : ";"));
        WriteField("Content-Transfer-Encoding", part.text ? "8bit" : "base64");
        if (part.attached) WriteField("Content-Disposition", "attachment");
        text_ += "\r\n";
        if (part.text) WriteText(part.content);
    }

    void WriteText(std::string_view utf8) {
        std::string const text = InLibraryCode(utf8);
        for (std::size_t at = 0; at < text.size();) {
            std::size_t const end = std::min(text.find('\n', at), text.size());
            text_.append(text, at, end - at);
            if (end < text.size()) text_ += "\r\n";
            at = end + 1;
        }
    }

    // Without what would end a parameter or a line.
    static std::string Plain(std::string_view text) {
        std::string plain = OnOneLine(text);
        std::replace_if(
            plain.begin(), plain.end(), [](char c) { return c == '"' || c == ';'; }, '_');
        return plain;
    }

    MailTree const& tree_;
    std::string text_;
    int boundaries_ = 0;
};

}  // namespace

CString AnalysisText(MailTree const& tree) { return Writer(tree).Write(); }

}  // namespace engine
