#include "engine/customers/csv_encoding.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <string_view>
#include <utility>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/trimmed.h"

namespace engine {
namespace {

constexpr std::size_t looked_at = 64 * 1024;  // of a file's start, to tell what it is
constexpr char32_t no_character = 0xFFFD;

constexpr char const* from_spreadsheet =
    "Excelなどで開き、「名前を付けて保存」で「CSV UTF-8 (コンマ区切り)」を選んで保存し、"
    "そのCSVファイルを取り込んでください。";
constexpr char const* from_archive =
    "中のファイルを取り出し、CSVファイルがあれば、それを取り込んでください。";
constexpr char const* from_document =
    "もとの表計算やデータベースから、CSVの形で書き出して、それを取り込んでください。";

struct FileKind {
    std::string_view start;   // of the file
    std::string_view inside;  // somewhere behind it; empty: nothing
    char const* name;
    char const* way;
};
using namespace std::string_view_literals;
constexpr FileKind file_kinds[] = {
    {"PK\3\4"sv, "xl/"sv, "Excelのブック (.xlsx)", from_spreadsheet},
    {"PK\3\4"sv, "opendocument.spreadsheet"sv, "表計算のファイル (.ods)", from_spreadsheet},
    {"PK\3\4"sv, "Index/Document.iwa"sv, "Numbersの書類 (.numbers)", from_spreadsheet},
    {"PK\3\4"sv, "word/"sv, "Wordの文書 (.docx)", from_document},
    {"PK\3\4"sv, ""sv, "ZIPの書庫", from_archive},
    {"PK\5\6"sv, ""sv, "空のZIPの書庫", from_archive},
    {"\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1"sv, ""sv, "Excelなどの古い形式のファイル (.xls など)",
     from_spreadsheet},
    {"\x1F\x8B"sv, ""sv, "gzipの書庫", from_archive},
    {"%PDF-"sv, ""sv, "PDFの文書", from_document},
    {"\x89PNG"sv, ""sv, "画像 (PNG)", from_document},
    {"\xFF\xD8\xFF"sv, ""sv, "画像 (JPEG)", from_document},
    {"GIF8"sv, ""sv, "画像 (GIF)", from_document},
    {"{\\rtf"sv, ""sv, "リッチテキストの文書", from_document},
    {"SQLite format 3\0"sv, ""sv, "データベース (SQLite)", from_document},
    {"<!doctype html"sv, ""sv, "Webページ (HTML)", from_spreadsheet},
    {"<html"sv, ""sv, "Webページ (HTML)", from_spreadsheet},
    {"<table"sv, ""sv, "Webページ (HTML)", from_spreadsheet},
    {"<?xml"sv, ""sv, "XMLのファイル", from_spreadsheet},
};

bool StartsWith(std::string_view content, std::string_view start) {
    return content.size() >= start.size() &&
           std::equal(start.begin(), start.end(), content.begin(), [](char wanted, char c) {
               return wanted == c || wanted == std::tolower(static_cast<unsigned char>(c));
           });
}

// Control characters that no text has, in more than one byte of a hundred.
bool IsBinary(std::string_view content) {
    constexpr std::string_view of_texts = "\t\n\v\f\r\x1A\x1B"sv;
    std::string_view const start = content.substr(0, looked_at);
    auto const control = std::count_if(start.begin(), start.end(), [&](char c) {
        return static_cast<unsigned char>(c) < 0x20 && of_texts.find(c) == of_texts.npos;
    });
    constexpr int a_few = 8;
    return control > a_few && static_cast<std::size_t>(control) * 100 > start.size();
}

void RefuseKnownKinds(std::string_view content, std::string const& file) {
    std::string_view const start =
        Trimmed(content.substr(content.starts_with(byte_order_mark) ? byte_order_mark.size() : 0));
    for (FileKind const& kind : file_kinds)
        if (StartsWith(start, kind.start) && content.find(kind.inside) != content.npos)
            throw Failure(Failure::unsuitable_file, "CSVファイルではなく、" + std::string(kind.name) +
                                                        "です: " + file + "\n" + kind.way);
}

enum class Order { none, little, big };

char32_t UnitAt(std::string_view content, std::size_t at, Order order) {
    if (at + 1 >= content.size()) return no_character;
    auto const first = static_cast<unsigned char>(content[at]),
               second = static_cast<unsigned char>(content[at + 1]);
    return order == Order::big ? char32_t(first << 8 | second) : char32_t(second << 8 | first);
}

// UTF-16 by its mark; without one, by the zero bytes of its ASCII characters, which stand in one half of the
// pairs only, and among which are delimiters or line ends.
Order OrderOf(std::string_view content) {
    if (content.starts_with("\xFF\xFE")) return Order::little;
    if (content.starts_with("\xFE\xFF")) return Order::big;
    std::size_t zeros[2] = {};
    std::string_view const start = content.substr(0, looked_at);
    for (std::size_t at = 0; at < start.size(); ++at) zeros[at % 2] += start[at] == 0;
    if (content.size() % 2 != 0 || (zeros[0] == 0) == (zeros[1] == 0)) return Order::none;
    Order const order = zeros[1] > 0 ? Order::little : Order::big;
    for (std::size_t at = 0; at + 1 < start.size(); at += 2) {
        char32_t const unit = UnitAt(start, at, order);
        if (unit == U',' || unit == U'\t' || unit == U';' || unit == U'\n') return order;
    }
    return Order::none;
}

std::string FromUtf16(std::string_view content, Order order) {
    constexpr char32_t mark = 0xFEFF;
    std::string text;
    text.reserve(content.size() * 3 / 2);
    for (std::size_t at = UnitAt(content, 0, order) == mark ? 2 : 0; at < content.size(); at += 2) {
        char32_t point = UnitAt(content, at, order);
        if (point >= 0xD800 && point < 0xE000) {
            char32_t const low = UnitAt(content, at + 2, order);
            bool const pair = point < 0xDC00 && low >= 0xDC00 && low < 0xE000;
            point = pair ? 0x10000 + ((point - 0xD800) << 10) + (low - 0xDC00) : no_character;
            if (pair) at += 2;
        }
        AppendUtf8(point, text);
    }
    return text;
}

// Characters of more than one byte, and bytes that make none.
struct Fit {
    std::size_t characters = 0, broken = 0;
};

Fit FitOfUtf8(std::string_view content) {
    Fit fit;
    for (std::size_t at = 0; at < content.size();) {
        std::size_t const before = at;
        fit.broken += platform::TakeUtf8(content, at) == platform::not_a_character;
        fit.characters += at > before + 1;
    }
    return fit;
}

Fit FitOfCp932(std::string_view content) {
    Fit fit;
    for (std::size_t at = 0; at < content.size();) {
        std::size_t const size = CharacterAt(content, at);
        fit.broken += size == 0;
        fit.characters += size > 1;
        at += std::max<std::size_t>(size, 1);
    }
    return fit;
}

// Kana in code page 932 can look like characters of UTF-8 now and then, but never for long; so a few broken
// bytes in a text of UTF-8 are told from the other code.
bool IsRatherUtf8(std::string_view content) {
    constexpr std::size_t by_far = 10;
    Fit const utf8 = FitOfUtf8(content);
    if (utf8.broken == 0) return true;
    std::size_t const broken_as_cp932 = FitOfCp932(content).broken;
    if (broken_as_cp932 == 0) return utf8.characters > by_far * utf8.broken;
    return utf8.broken <= broken_as_cp932 && utf8.broken <= utf8.characters;
}

}  // namespace

std::size_t CharacterAt(std::string_view cp932, std::size_t at) {
    std::size_t const size = platform::CharacterSize(cp932, at);
    auto const lead = static_cast<unsigned char>(cp932[at]);
    if (lead < 0x80) return 1;
    auto const code =
        static_cast<std::uint16_t>(size == 2 ? lead << 8 | static_cast<unsigned char>(cp932[at + 1]) : lead);
    return platform::UnicodeOf(code) == 0 ? 0 : size;
}

Encoding EncodingOf(std::string const& name) {
    if (name == "auto") return Encoding::automatic;
    if (name == "cp932") return Encoding::cp932;
    if (name == "utf-8") return Encoding::utf8;
    if (name == "utf-16") return Encoding::utf16;
    throw Failure(Failure::invalid_request, "--encoding は auto、cp932、utf-8、utf-16 のどれかです: " + name);
}

FileText TextOfFile(std::string content, Encoding wanted, std::string const& file) {
    RefuseKnownKinds(content, file);
    Order order = wanted == Encoding::automatic || wanted == Encoding::utf16 ? OrderOf(content) : Order::none;
    if (wanted == Encoding::utf16 && order == Order::none) order = Order::little;
    if (order != Order::none) content = FromUtf16(content, order);
    if (IsBinary(content))
        throw Failure(Failure::unsuitable_file, "CSVファイルではありません (文字のファイルではありません): " +
                                                    file + "\n" + from_document);
    if (order != Order::none) return {std::move(content), Encoding::utf8, "UTF-16"};
    bool const marked = content.starts_with(byte_order_mark);
    if (wanted == Encoding::automatic)
        wanted = marked || IsRatherUtf8(content) ? Encoding::utf8 : Encoding::cp932;
    if (wanted == Encoding::cp932) return {std::move(content), Encoding::cp932, "Shift_JIS"};
    if (marked) content.erase(0, byte_order_mark.size());
    return {std::move(content), Encoding::utf8, "UTF-8"};
}

}  // namespace engine
