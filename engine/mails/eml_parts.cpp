#include "engine/mails/eml_parts.h"

#include <algorithm>
#include <memory>
#include <string_view>

#include "engine/base/charset.h"
#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/lower_case.h"
#include "engine/base/shown_text.h"
#include "engine/base/trimmed.h"
#include "engine/mails/gmime_objects.h"
#include "engine/mails/received_text.h"

namespace engine {
namespace {

constexpr int most_levels = 50;
constexpr std::size_t most_parts = 1000;

// A field as it came, on one line; empty for none.
std::string RawField(GMimeObject* entity, char const* name) {
    GMimeHeader* const header = g_mime_header_list_get_header(g_mime_object_get_header_list(entity), name);
    std::string value = header ? TextOr(g_mime_header_get_raw_value(header)) : "";
    std::erase_if(value, [](char c) { return c == '\r' || c == '\n'; });
    return std::string(Trimmed(value));
}

// What `write` writes to a stream.
template <class Write>
std::string Written(Write write) {
    Owned<GMimeStream> const stream(g_mime_stream_mem_new());
    write(stream.get());
    GByteArray const* const bytes = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(stream.get()));
    return {reinterpret_cast<char const*>(bytes->data), bytes->len};
}

std::string ContentOf(GMimePart* part) {
    GMimeDataWrapper* const content = g_mime_part_get_content(part);
    if (!content) return {};
    return Written([&](GMimeStream* stream) { g_mime_data_wrapper_write_to_stream(content, stream); });
}

std::string MessageText(GMimeMessage* message) {
    std::unique_ptr<GMimeFormatOptions, decltype(&g_mime_format_options_free)> const format(
        g_mime_format_options_new(), g_mime_format_options_free);
    g_mime_format_options_set_newline_format(format.get(), GMIME_NEWLINE_FORMAT_DOS);
    return Written([&](GMimeStream* stream) {
        g_mime_object_write_to_stream(GMIME_OBJECT(message), format.get(), stream);
    });
}

std::string TypeOf(GMimeObject* entity) {
    GMimeContentType* const type = g_mime_object_get_content_type(entity);
    return ShownLine(LowerCase(TextOr(g_mime_content_type_get_media_type(type)) + "/" +
                               TextOr(g_mime_content_type_get_media_subtype(type))));
}

std::string Parameter(GMimeObject* entity, char const* name) {
    return TextOr(g_mime_content_type_get_parameter(g_mime_object_get_content_type(entity), name));
}

std::string NameOf(GMimeObject* entity) {
    return engine::NameOfPart(RawField(entity, "Content-Disposition"), RawField(entity, "Content-Type"));
}

bool IsAttached(GMimeObject* entity) {
    return EqualNoCase(TextOr(g_mime_object_get_disposition(entity)), GMIME_DISPOSITION_ATTACHMENT);
}

void UseLineFeeds(std::string& text) {
    std::erase(text, '\0');
    std::size_t end = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        bool const pair = text[at] == '\r' && at + 1 < text.size() && text[at + 1] == '\n';
        text[end++] = text[at] == '\r' ? '\n' : text[at];
        if (pair) ++at;
    }
    text.resize(end);
    if (text.starts_with(byte_order_mark)) text.erase(0, byte_order_mark.size());
}

// A text as part of a page.
std::string AsHtml(std::string_view text) {
    std::string html = "<div style=\"white-space: pre-wrap\">";
    for (char const c : text)
        if (c == '&')
            html += "&amp;";
        else if (c == '<')
            html += "&lt;";
        else
            html += c;
    return html + "</div>";
}

// The text of a mail, or of a part of it, in its two forms.
struct Body {
    std::string text, html;

    bool IsEmpty() const { return text.empty() && html.empty(); }
    // What stands behind it. A text in front of HTML alone counts as the same in another form, as careless
    // programs write it. Where one of two pages has no text, the text is left to be made from both.
    void Append(Body const& other) {
        if (other.IsEmpty()) return;
        if (IsEmpty()) {
            *this = other;
            return;
        }
        bool const both_pages = !html.empty() && !other.html.empty(),
                   no_text = both_pages && (text.empty() || other.text.empty()),
                   added_text = !html.empty() && text.empty();
        if (both_pages)
            html += "\n" + other.html;
        else if (!html.empty())
            html += AsHtml(other.text);
        else if (!other.html.empty())
            html = other.text.empty() ? other.html : AsHtml(text) + other.html;
        if (no_text || added_text)
            text.clear();
        else if (!other.text.empty())
            text += (text.empty() || text.ends_with('\n') ? "" : "\n") + other.text;
    }
};

class Reading {
  public:
    explicit Reading(std::string const& file) : file_(file) {}

    EmlParts Run(std::string bytes) {
        if (Trimmed(bytes).empty()) Refuse("中身がありません");
        // GMime takes a last delimiter without a line end for one of which the CR belongs to the part.
        if (bytes.ends_with("--")) bytes += "\r\n";
        BeginGMime();
        Owned<GMimeStream> const stream(g_mime_stream_mem_new_with_buffer(bytes.data(), bytes.size()));
        Owned<GMimeParser> const parser(g_mime_parser_new_with_stream(stream.get()));
        std::unique_ptr<GMimeParserOptions, decltype(&g_mime_parser_options_free)> const options(
            g_mime_parser_options_new(), g_mime_parser_options_free);
        g_mime_parser_options_set_warning_callback(options.get(), TakeWarning, this);
        Owned<GMimeMessage> const message(g_mime_parser_construct_message(parser.get(), options.get()));
        if (!message) Refuse("ヘッダーがありません");
        TakeMail(message.get());
        return std::move(parts_);
    }

  private:
    static void TakeWarning(gint64, GMimeParserWarning warning, gchar const*, gpointer reading) {
        auto& own = *static_cast<Reading*>(reading);
        if (warning == GMIME_WARN_TRUNCATED_MESSAGE || warning == GMIME_WARN_MALFORMED_MULTIPART)
            own.truncated_ = true;
        if (warning == GMIME_CRIT_MULTIPART_WITHOUT_BOUNDARY) own.without_boundary_ = true;
        if (warning == GMIME_CRIT_NESTING_OVERFLOW) own.too_deep_ = true;
    }

    void TakeMail(GMimeMessage* message) {
        GMimeObject* const root = g_mime_message_get_mime_part(message);
        parts_.subject = Trimmed(ShownLine(DecodedHeader(RawField(GMIME_OBJECT(message), "Subject"))));
        if (too_deep_) Refuse("部分の入れ子が深すぎます");
        if (!root) Refuse("中身がありません");
        Body body = Take(root, 0);
        if (truncated_) Lose("メールの終わりか途中が欠けています。読めた所まで取り込みます。");
        if (body.IsEmpty())
            throw Failure(Failure::incomplete_mail, "文面のないメールです" + Reason(root) + ": " + file_);
        if (parts_.subject.empty()) throw Failure(Failure::incomplete_mail, "件名のないメールです: " + file_);
        parts_.text = std::move(body.text);
        parts_.html = std::move(body.html);
    }

    // Why a mail has no text.
    std::string Reason(GMimeObject* root) const {
        std::string const type = TypeOf(root);
        if (without_boundary_) return " (区切りの指定 boundary がありません)";
        if (GMIME_IS_MULTIPART_ENCRYPTED(root) || type == "application/pkcs7-mime" ||
            type == "application/x-pkcs7-mime")
            return " (暗号化されているか、署名の中に入っています)";
        if (GMIME_IS_MESSAGE_PARTIAL(root)) return " (分けて送られたメールの一部です)";
        return " (" + type + ")";
    }

    Body Take(GMimeObject* entity, int level) {
        if (level > most_levels || ++count_ > most_parts) Refuse("部分が多すぎるか、入れ子が深すぎます");
        if (GMIME_IS_MESSAGE_PART(entity)) return TakeMessage(GMIME_MESSAGE_PART(entity));
        if (!GMIME_IS_MULTIPART(entity))
            return GMIME_IS_PART(entity) ? TakeLeaf(GMIME_PART(entity), level) : Body();
        std::string const type = TypeOf(entity);
        if (type == "multipart/alternative") return TakeAlternative(GMIME_MULTIPART(entity), level);
        if (type == "multipart/related") return TakeRelated(GMIME_MULTIPART(entity), level);
        Body body;
        ForEach(GMIME_MULTIPART(entity), [&](GMimeObject* child, int number) {
            bool const is_signature = GMIME_IS_MULTIPART_SIGNED(entity) && number > 0,
                       is_resource = TypeOf(child) == "application/applefile";
            if (is_signature)
                Lose("署名は、作り直したメールには合わないので、取り込みません: " + Described(child));
            else if (is_resource)
                Lose("Macだけで使う部分は取り込みません: " + Described(child));
            else
                body.Append(Take(child, level + 1));
        });
        return body;
    }

    template <class Each>
    static void ForEach(GMimeMultipart* multipart, Each each) {
        for (int i = 0; i < g_mime_multipart_get_count(multipart); ++i)
            each(g_mime_multipart_get_part(multipart, i), i);
    }

    Body TakeAlternative(GMimeMultipart* multipart, int level) {
        Body body;
        ForEach(multipart, [&](GMimeObject* child, int) {
            std::string const type = TypeOf(child);
            bool const other_form = type.starts_with("text/") && type != "text/plain" &&
                                    type != "text/html" && type != "text/calendar" && !IsAttached(child);
            if (other_form) return Lose("文面のほかの形は取り込みません: " + Described(child));
            if (type == "text/calendar")
                Lose(
                    "予定 (text/calendar) "
                    "は、返事のできる予定としてではなく、添付ファイルとして取り込みます。");
            Body form = Take(child, level + 1);
            bool const again =
                (!form.text.empty() && !body.text.empty()) || (!form.html.empty() && !body.html.empty());
            if (again) Lose("同じ形の文面がいくつもあるので、最後のものを取り込みます: " + type);
            if (!form.text.empty()) body.text = std::move(form.text);
            if (!form.html.empty()) body.html = std::move(form.html);
        });
        return body;
    }

    // The first part is the text, unless another is named (RFC 2387 3.2); the others belong to it.
    Body TakeRelated(GMimeMultipart* multipart, int level) {
        std::string const start(Trimmed(Parameter(GMIME_OBJECT(multipart), "start"), " <>"));
        int root = 0;
        ForEach(multipart, [&](GMimeObject* child, int number) {
            if (!start.empty() && TextOr(g_mime_object_get_content_id(child)) == start) root = number;
        });
        Body body;
        ForEach(multipart, [&](GMimeObject* child, int number) {
            if (number == root || GMIME_IS_MULTIPART(child))
                body.Append(Take(child, level + 1));
            else if (GMIME_IS_PART(child))
                TakeFile(GMIME_PART(child));
            else
                Take(child, level + 1);
        });
        return body;
    }

    Body TakeMessage(GMimeMessagePart* part) {
        GMimeMessage* const message = g_mime_message_part_get_message(part);
        if (!message) {
            Lose("中身のない部分がありました: " + Described(GMIME_OBJECT(part)));
            return {};
        }
        parts_.files.push_back({"message/rfc822", NameOf(GMIME_OBJECT(part)),
                                DecodedHeader(RawField(GMIME_OBJECT(message), "Subject")), "", "",
                                MessageText(message)});
        return {};
    }

    // A text is one of the mail unless it is a file; the only part of a mail is its text, whatever its name.
    Body TakeLeaf(GMimePart* part, int level) {
        GMimeObject* const entity = GMIME_OBJECT(part);
        std::string const type = TypeOf(entity);
        bool const is_html = type == "text/html",
                   is_file = IsAttached(entity) || (level > 0 && !NameOf(entity).empty());
        if ((type != "text/plain" && !is_html) || is_file) {
            TakeFile(part);
            return {};
        }
        std::string const charset = Parameter(entity, "charset");
        if (!IsKnownCharset(charset))
            throw Failure(Failure::unsuitable_mail,
                          "この文字コードの文面は読めません: " + ShownLine(charset));
        std::string text = TextIn(charset, ContentOf(part));
        UseLineFeeds(text);
        if (!is_html) return {std::move(text), ""};
        if (parts_.html_location.empty()) parts_.html_location = RawField(entity, "Content-Location");
        return {"", std::move(text)};
    }

    void TakeFile(GMimePart* part) {
        GMimeObject* const entity = GMIME_OBJECT(part);
        parts_.files.push_back({TypeOf(entity), NameOf(entity), "",
                                TextOr(g_mime_object_get_content_id(entity)),
                                RawField(entity, "Content-Location"), ContentOf(part)});
    }

    static std::string Described(GMimeObject* entity) {
        std::string const name = ShownLine(NameOf(entity));
        return TypeOf(entity) + (name.empty() ? "" : " " + name);
    }

    void Lose(std::string const& told) { parts_.lost.push_back(told); }
    [[noreturn]] void Refuse(std::string const& reason) const {
        throw Failure(Failure::unsuitable_file, "メールとして読めません (" + reason + "): " + file_);
    }

    std::string const& file_;
    EmlParts parts_;
    std::size_t count_ = 0;
    bool truncated_ = false, without_boundary_ = false, too_deep_ = false;
};

}  // namespace

EmlParts ReadEml(std::string bytes, std::string const& file) { return Reading(file).Run(std::move(bytes)); }

}  // namespace engine
