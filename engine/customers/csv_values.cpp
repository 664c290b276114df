#include "engine/customers/csv_values.h"

#include <algorithm>
#include <string>

#include "engine/base/crossing.h"
#include "engine/base/trimmed.h"
#include "tessaly/text.h"

namespace engine {
namespace {

constexpr std::string_view digits = "0123456789";

// In UTF-8, with half-width signs, digits and letters, without blanks around it.
std::string HalfWidth(std::string_view field) {
    std::string half(field.size() + 1, '\0');
    xc_zen2han_sjis_all(half.data(), std::string(field).c_str());
    half.resize(half.find('\0'));
    std::string const text = Out(half);
    return std::string(Trimmed(text, " \t"));
}

void ReplaceAll(std::string& text, std::string_view from, std::string_view to) {
    for (std::size_t at = 0; (at = text.find(from, at)) != text.npos; at += to.size())
        text.replace(at, from.size(), to);
}

std::string TidyDate(std::string const& text) {
    if (text.size() == 8 && text.find_first_not_of(digits) == text.npos)
        return text.substr(0, 4) + "/" + text.substr(4, 2) + "/" + text.substr(6);
    std::size_t const time = std::min(text.find_first_of(" T"), text.size());
    std::string date = text.substr(0, time);
    for (char const* mark : {"年", "月", "-", "."}) ReplaceAll(date, mark, "/");
    if (date.ends_with("日")) date.resize(date.size() - std::string_view("日").size());
    return time < text.size() ? date + " " + text.substr(time + 1) : date;
}

std::string TidyCodeNumber(std::string const& field) {
    std::string text = field;
    ReplaceAll(text, "〒", "");
    for (char const* hyphen : {"ｰ", "‐", "―", "−"}) ReplaceAll(text, hyphen, "-");
    text.erase(0, std::min(text.find_first_not_of(' '), text.size()));
    return text;
}

// Commas go where each has three digits behind it.
std::string TidyNumber(std::string const& text) {
    std::string number;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != ',') {
            number += text[at];
            continue;
        }
        std::size_t const end = std::min(text.find(',', at + 1), text.size());
        if (at == 0 || end - at != 4) return text;
    }
    return number;
}

std::string Upper(std::string const& flag) { return flag == "y" ? "Y" : flag == "n" ? "N" : flag; }

std::string Tidy(customers::FieldRule rule, std::string const& text) {
    switch (rule) {
        case customers::FieldRule::birth_date:
        case customers::FieldRule::date: return TidyDate(text);
        case customers::FieldRule::code_number: return TidyCodeNumber(text);
        case customers::FieldRule::number: return TidyNumber(text);
        case customers::FieldRule::direct_mail:
        case customers::FieldRule::delete_flag: return Upper(text);
        case customers::FieldRule::address:
        case customers::FieldRule::text: break;
    }
    return text;
}

}  // namespace

std::optional<CString> Tidied(Element const& element, std::string_view field) {
    std::string const text = Tidy(element.rule, HalfWidth(field));
    char converted[text::date_data_size];
    std::string_view value;
    if (!TakeValue(element, text, converted, value)) return {};
    return CString(std::string_view(text));
}

}  // namespace engine
