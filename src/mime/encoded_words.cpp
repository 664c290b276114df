#include "tessaly/mime/encoded_words.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>

#include "mime/ascii.h"
#include "mime/quoted_printable.h"
#include "platform/base64_decoder.h"
#include "platform/view_of.h"
#include "tessaly/platform/base64_codec.h"
#include "tessaly/text/kanji_codes.h"
#include "tessaly/text/kcodec.h"

using enum mime::EncodedWordMode;

namespace {

constexpr char escape_byte = '\x1B';
constexpr std::size_t escape_size = 3;
constexpr std::string_view to_ascii = "\x1B(B";
constexpr std::string_view fold = "\r\n\t";
constexpr std::string_view word_start = "=?ISO-2022-JP?B?";
constexpr std::string_view word_end = "?=";

using Text = std::unique_ptr<char[]>;

using platform::ViewOf;

char* Put(std::string_view text, char* out) { return std::copy(text.begin(), text.end(), out); }

// A charset by its name in a header: in small letters, with a divider that some mailers write as '-'.
struct Name {
    std::string_view text;
    bool either_divider = false;

    bool Matches(std::string_view other) const {
        return std::equal(
            text.begin(), text.end(), other.begin(), other.end(), [this](char expected, char c) {
                return mime::LowerCase(c) == expected || (either_divider && expected == '_' && c == '-');
            });
    }
    // First place in `in` at or behind `from`, without regard to case.
    std::size_t FindIn(std::string_view in, std::size_t from = 0) const {
        for (; from + text.size() <= in.size(); ++from)
            if (mime::LowerCase(in[from]) == text[0] && Matches(in.substr(from, text.size()))) return from;
        return in.npos;
    }
};

constexpr Name jis_tag{"=?iso-2022-jp?"};
constexpr Name shift_jis_tag{"=?shift_jis?"};
constexpr Name either_shift_jis_tag{"=?shift_jis?", true};
constexpr Name utf8_tag{"=?utf-8?"};
constexpr Name unknown_tag{"unknown_start_tag"};  // a tag that no mailer writes

// An encoded word: its place, and the text between its markers.
struct Word {
    std::size_t start, end;
    char encoding;  // 'b', 'q', or 0: none, or broken and kept as text with all that follows
    std::string_view text;
};

// The first word with `tag` at or behind `from`.
Word FindWord(std::string_view in, Name const& tag, std::size_t from) {
    constexpr Word none{};
    constexpr std::size_t encoding_size = 2;
    std::size_t const start = tag.FindIn(in, from);
    if (start == in.npos || in.size() - start < tag.text.size() + encoding_size) return none;
    std::size_t const behind_tag = start + tag.text.size(), text_start = behind_tag + encoding_size;
    char const encoding = mime::LowerCase(in[behind_tag]);
    if ((encoding != 'b' && encoding != 'q') || in[behind_tag + 1] != '?') return none;
    std::size_t const text_end = in.find(word_end, text_start);
    if (text_end == in.npos) return none;
    return {start, text_end + word_end.size(), encoding, in.substr(text_start, text_end - text_start)};
}

char* DecodeWord(Word const& word, char* out) {
    if (word.encoding == 'b') return out + platform::DecodeBase64(word.text, out);
    mime::QuotedText text{word.text.data(), word.text.data() + word.text.size(), out};
    mime::DecodeQuotedPairs(text);
    return text.out;
}

// Decodes the words with `tag` and copies the rest, with no conversion.
Text DecodeWords(std::string_view in, Name const& tag) {
    Text decoded = std::make_unique_for_overwrite<char[]>(mime::DecodedWordsRoom(in.size()));
    char* out = decoded.get();
    std::size_t done = 0;
    for (;;) {
        Word const word = FindWord(in, tag, done);
        if (word.encoding == 0) break;
        out = Put(in.substr(done, word.start - done), out);
        out = DecodeWord(word, out);
        done = word.end;
    }
    *Put(in.substr(done), out) = '\0';
    return decoded;
}

Text ConvertJis(char const* text) {
    Text converted = std::make_unique_for_overwrite<char[]>(SizeOfJis7ToSj(std::strlen(text)));
    jis7tosj_core(converted.get(), text);
    return converted;
}

Text ConvertUtf8(char const* text) {
    Text converted = std::make_unique_for_overwrite<char[]>(SizeOfUtf8ToSj(std::strlen(text)));
    KCodeC().utf8tosj(converted.get(), text);
    return converted;
}

CString ConvertByLook(CString const& in) {
    KCodeC codec;
    switch (codec.CheckCode(reinterpret_cast<unsigned char const*>(static_cast<char const*>(in)))) {
        case KCodeC::code_jis: return codec.jis7tosj(in);
        case KCodeC::code_euc: return codec.ujtosj(in);
        default: return in;
    }
}

}  // namespace

void base64encoding(char* out, char const* in) {
    std::string_view rest = ViewOf(in);
    while (!rest.empty()) {
        bool const escape =
            rest.size() >= escape_size && rest[0] == escape_byte && (rest[1] == '$' || rest[1] == '(');
        if (!escape) {
            *out++ = rest[0];
            rest.remove_prefix(1);
            continue;
        }
        if (rest.starts_with(to_ascii)) {
            rest.remove_prefix(to_ascii.size());
            continue;
        }
        std::size_t const closing = rest.find(to_ascii);
        std::string_view const run =
            rest.substr(0, closing == rest.npos ? closing : closing + to_ascii.size());
        out = Put(word_start, out);
        out += platform::Base64Encode(reinterpret_cast<unsigned char const*>(run.data()), run.size(), out);
        out = Put(word_end, out);
        rest.remove_prefix(run.size());
        if (!rest.empty()) out = Put(fold, out);
    }
    *out = '\0';
}

CString EncodeFileName(char const* name) {
    constexpr int keep_half_width_kana = 0, columns_per_word = 30;
    std::string_view const text = ViewOf(name);
    bool const ascii =
        std::none_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) > 127; });
    if (ascii) return CString(text);
    Text const in_jis = std::make_unique_for_overwrite<char[]>(SizeOfSjToJis7ForHeader(text.size()));
    sjtojis7_for_header(in_jis.get(), name, keep_half_width_kana, columns_per_word);
    Text const words = std::make_unique_for_overwrite<char[]>(mime::JisWordsRoom(std::strlen(in_jis.get())));
    base64encoding(words.get(), in_jis.get());
    return CString(words.get());
}

void MIMEbase64decoding(char* out, char const* in) {
    if (out) jis7tosj_core(out, DecodeWords(ViewOf(in), jis_tag).get());
}

void MIMEBase64DecodeForJIS(char** out, char const* in) { MIMEDecodeVersion2(out, in, ENCODED_WORD_JIS); }

void MIMEDecodeVersion2(char** out, char const* in, int mode) {
    if (!out) return;
    std::string_view const text = ViewOf(in);
    switch (mode) {
        case ENCODED_WORD_JIS: *out = ConvertJis(DecodeWords(text, jis_tag).get()).release(); break;
        case ENCODED_WORD_SHIFT_JIS: *out = DecodeWords(text, shift_jis_tag).release(); break;
        case ENCODED_WORD_UTF8: *out = ConvertUtf8(DecodeWords(text, utf8_tag).get()).release(); break;
        default: *out = DecodeWords(text, unknown_tag).release(); break;
    }
}

int DecodeMimeHeaderParam(CString const& in, CString& out) {
    constexpr Name jis{"iso-2022-jp"}, shift_jis{"shift_jis", true}, utf8{"utf-8"};
    std::string_view const text = in.View();
    if (jis.FindIn(text) != text.npos)
        out = ConvertJis(DecodeWords(text, jis_tag).get()).get();
    else if (shift_jis.FindIn(text) != text.npos)
        out = DecodeWords(text, either_shift_jis_tag).get();
    else if (utf8.FindIn(text) != text.npos)
        out = ConvertUtf8(DecodeWords(text, utf8_tag).get()).get();
    else
        out = ConvertByLook(in);
    return 1;
}
