#include "engine/incoming/mime_reading.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "engine/base/charset.h"
#include "engine/base/lower_case.h"
#include "engine/base/trimmed.h"
#include "engine/mails/gmime_objects.h"
#include "engine/mails/received_text.h"

namespace engine {
namespace {

// GMime takes texts that end with a NUL.
std::string PlainText(std::string_view value) {
    std::string text(value);
    std::replace(text.begin(), text.end(), '\0', ' ');
    return text;
}

GMimeContentEncoding EncodingNamed(std::string_view name) {
    BeginGMime();
    return g_mime_content_encoding_from_string(LowerCase(Trimmed(name, " \t\r\n\";")).c_str());
}

constexpr auto npos = std::string_view::npos;
constexpr std::size_t longest_value = 16 * 1024;
constexpr std::size_t block_size = 48 * 1024;

// Takes what comes out of a decoder: its size, and its first bytes.
class Taking {
  public:
    Taking(GMimeContentEncoding encoding, std::size_t limit) : limit_(limit) {
        g_mime_encoding_init_decode(&state_, encoding);
    }

    void Decode(std::string_view encoded) {
        if (out_.size() < encoded.size() + 64) out_.resize(encoded.size() + 64);
        Take({out_.data(), g_mime_encoding_step(&state_, encoded.data(), encoded.size(), out_.data())});
    }
    Untransferred End() {
        if (out_.size() < 64) out_.resize(64);
        Take({out_.data(), g_mime_encoding_flush(&state_, "", 0, out_.data())});
        return std::move(taken_);
    }

  private:
    void Take(std::string_view decoded) {
        taken_.size += decoded.size();
        taken_.content += decoded.substr(0, limit_ - taken_.content.size());
    }

    GMimeEncoding state_;
    std::size_t const limit_;
    std::vector<char> out_;
    Untransferred taken_;
};

// Blanks at the end of a line are none of the text (RFC 2045 6.7), and would hide the "=" that joins lines.
void DecodeQuotedPrintable(std::string_view encoded, Taking& taking) {
    std::string block;
    while (!encoded.empty()) {
        std::size_t const end = std::min(encoded.find('\n'), encoded.size());
        std::string_view const line = encoded.substr(0, end);
        block += line.substr(0, line.find_last_not_of(" \t\r") + 1);
        if (end < encoded.size()) block += '\n';
        encoded.remove_prefix(std::min(end + 1, encoded.size()));
        if (block.size() < block_size) continue;
        taking.Decode(block);
        block.clear();
    }
    taking.Decode(block);
}

void DecodeInBlocks(std::string_view encoded, Taking& taking) {
    for (; !encoded.empty(); encoded.remove_prefix(std::min(block_size, encoded.size())))
        taking.Decode(encoded.substr(0, block_size));
}

// Where `sign` stands outside quoted strings; npos if nowhere.
std::size_t FindUnquoted(std::string_view text, char sign) {
    bool quoted = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '\\')
            ++at;
        else if (text[at] == '"')
            quoted = !quoted;
        else if (text[at] == sign && !quoted)
            return at;
    }
    return npos;
}

std::string Unquoted(std::string_view text) {
    std::string unquoted(text);
    g_mime_utils_unquote_string(unquoted.data());
    return unquoted.c_str();
}

// The name stands before the address in angle brackets, else in a comment.
std::string NameBeside(std::string const& value) {
    std::size_t const bracket = FindUnquoted(value, '<');
    if (bracket != npos) return DecodedHeader(Unquoted(Trimmed(std::string_view(value).substr(0, bracket))));
    std::size_t const open = FindUnquoted(value, '('), close = value.rfind(')');
    if (open == npos || close == npos || close < open) return {};
    return DecodedHeader(Trimmed(std::string_view(value).substr(open + 1, close - open - 1)));
}

// The first address of a list, in its groups too.
std::string FirstAddress(InternetAddressList* list) {
    for (int i = 0; list && i < internet_address_list_length(list); ++i) {
        InternetAddress* const address = internet_address_list_get_address(list, i);
        if (INTERNET_ADDRESS_IS_MAILBOX(address))
            return TextOr(internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(address)));
        std::string found = FirstAddress(internet_address_group_get_members(INTERNET_ADDRESS_GROUP(address)));
        if (!found.empty()) return found;
    }
    return {};
}

}  // namespace

MimeType ReadMimeType(std::string_view value) {
    BeginGMime();
    MimeType read{"text", "plain", {}, {}, {}};
    Owned<GMimeContentType> const type(
        g_mime_content_type_parse(nullptr, PlainText(value.substr(0, longest_value)).c_str()));
    std::string_view const both = Trimmed(value.substr(0, value.find(';')));
    if (!type || both.find('/') == npos || both.starts_with('/') || both.ends_with('/')) return read;
    read.type = LowerCase(TextOr(g_mime_content_type_get_media_type(type.get()), "text"));
    read.subtype = LowerCase(TextOr(g_mime_content_type_get_media_subtype(type.get()), "plain"));
    auto const parameter = [&](char const* name) {
        return std::string(Trimmed(TextOr(g_mime_content_type_get_parameter(type.get(), name))));
    };
    read.boundary = parameter("boundary");
    read.charset = parameter("charset");
    read.report_type = LowerCase(parameter("report-type"));
    return read;
}

bool IsAttachment(std::string_view disposition) {
    return EqualNoCase(Trimmed(disposition.substr(0, disposition.find(';'))), "attachment");
}

SenderAddress FirstSender(std::string_view value) {
    BeginGMime();
    std::string const text = GuessedText(PlainText(value.substr(0, longest_value)));
    Owned<InternetAddressList> const list(internet_address_list_parse(nullptr, text.c_str()));
    return {std::string(Trimmed(NameBeside(text))), FirstAddress(list.get())};
}

std::string LocalTimeOf(std::string_view date) {
    BeginGMime();
    using Time = std::unique_ptr<GDateTime, decltype(&g_date_time_unref)>;
    using Text = std::unique_ptr<char, decltype(&g_free)>;
    Time const time(g_mime_utils_header_decode_date(PlainText(date.substr(0, longest_value)).c_str()),
                    &g_date_time_unref);
    if (!time) return {};
    Time const local(g_date_time_to_local(time.get()), &g_date_time_unref);
    if (!local) return {};
    Text const text(g_date_time_format(local.get(), "%Y/%m/%d %H:%M:%S"), &g_free);
    return TextOr(text.get());
}

bool IsEncoding(std::string_view encoding) {
    switch (EncodingNamed(encoding)) {
        case GMIME_CONTENT_ENCODING_BASE64:
        case GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE:
        case GMIME_CONTENT_ENCODING_UUENCODE: return true;
        default: return false;
    }
}

Untransferred WithoutTransferEncoding(std::string_view encoding, std::string_view encoded,
                                      std::size_t limit) {
    if (!IsEncoding(encoding)) return {std::string(encoded.substr(0, limit)), encoded.size()};
    GMimeContentEncoding const named = EncodingNamed(encoding);
    Taking taking(named, limit);
    if (named == GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE)
        DecodeQuotedPrintable(encoded, taking);
    else
        DecodeInBlocks(encoded, taking);
    return taking.End();
}

}  // namespace engine
