// The text of a mail with which a customer registers. The first byte of the input chooses the types of the
// attributes, the rest is the text.

#include <optional>

#include "customers/registration_mail.h"
#include "fuzz_target.h"
#include "tessaly/storage/my_db.h"
#include "tessaly/text/value_checks.h"

namespace {

using customers::ElementTypes;
using customers::ElementValues;

struct Tag {
    char const* name;
    std::size_t element;
};
// Values that are taken as they stand.
constexpr Tag plain_tags[] = {{"NAME_SEI", 2}, {"NAME_MEI", 3}, {"NAME_KANASEI", 4}, {"NAME_KANAMEI", 5},
                              {"COMPANY", 6},  {"POST", 7},     {"ADDRESS_1", 12}};
// With the plain ones and the attributes: tags that can give every value that can come of a mail.
constexpr Tag whole_tags[] = {{"EMAIL", 1},       {"BIRTHDAY", 8},    {"ZIPCODE_2", 9},
                              {"PREFECTURE", 11}, {"ADDRESS_3", 13},  {"PHONE_3", 15},
                              {"FAX_3", 17},      {"PORTABLE_3", 19}, {"DMOK", 21}};

std::string Tagged(std::string const& name, std::string_view value) {
    return "<" + name + ">" + std::string(value) + "</" + name + ">";
}

std::string AttributeTag(std::size_t element) {
    return std::string("EXTRA_") + static_cast<char>('A' + (element - customers::element_first_attribute));
}

bool IsAttribute(std::size_t element) {
    return element >= customers::element_first_attribute && element <= customers::element_last_attribute;
}

// What stands between the first opening tag and the first closing one behind it.
std::optional<std::string> Between(std::string const& text, std::string const& name) {
    std::size_t const at = text.find("<" + name + ">");
    if (at == text.npos) return {};
    std::size_t const begin = at + name.size() + 2, end = text.find("</" + name + ">", begin);
    return end == text.npos ? std::nullopt : std::optional(text.substr(begin, end - begin));
}

std::string WithoutLineEnds(std::string text) {
    std::erase_if(text, [](char c) { return c == '\r' || c == '\n'; });
    return text;
}

void AreGood(ElementValues const& values, std::string const& text) {
    fuzz::Check(MailAddressChecker(values[customers::element_address]) == 1, "who registers has an address");
    for (Tag const& tag : plain_tags)
        fuzz::Check(values[tag.element].View() == Between(text, tag.name).value_or(""),
                    "a plain value as it stands");
    std::string const in_parts =
        Between(text, "ADDRESS_2").value_or("") + Between(text, "BUILDING").value_or("");
    fuzz::Check(values[13].View() == Between(text, "ADDRESS_3").value_or(in_parts),
                "a whole value before its parts");
    for (std::size_t const number : {15U, 17U, 19U})
        fuzz::Check(values[number].View().find_first_not_of("0123456789-") == std::string_view::npos,
                    "telephone numbers are numbers");
    fuzz::Check(values[customers::element_zip_code_1].Find('-') < 0, "postal codes without hyphens");
    for (std::size_t element = 0; element < values.size(); ++element) {
        bool const can_come = (element >= 1 && element <= 21) || IsAttribute(element);
        bool const joined = element == 10 || element == 14 || element == 16 || element == 18 || element == 20;
        fuzz::Check((can_come && !joined) || values[element].IsEmpty(), "no value that no tag gives");
    }
}

// Written again as a mail, the values come out as they are, with no bad field among them.
void ComeBack(ElementValues const& values, ElementTypes const& types) {
    std::string text = "<REGISTER>\r\n";
    for (CString const& value : values)
        if (value.Find('<') >= 0) return;  // could be a tag of its own
    auto const add = [&](std::string const& name, std::size_t element) {
        if (!values[element].IsEmpty()) text += Tagged(name, values[element].View()) + "\r\n";
    };
    for (Tag const& tag : plain_tags) add(tag.name, tag.element);
    for (Tag const& tag : whole_tags) add(tag.name, tag.element);
    for (std::size_t element = 0; element < values.size(); ++element)
        if (IsAttribute(element)) add(AttributeTag(element), element);
    ElementValues again;
    fuzz::Check(customers::ReadRegistration(text, types, true, again), "good values make a good mail");
    fuzz::Check(again == values, "good values come back");
}

}  // namespace

void FuzzOne(std::string_view bytes) {
    if (bytes.empty()) return;
    ElementTypes types{};
    for (std::size_t element = 0; element < types.size(); ++element)
        if (IsAttribute(element)) types[element] = (bytes[0] + static_cast<int>(element)) % 3;
    std::string const text = fuzz::TextOf(bytes.substr(1)), joined = WithoutLineEnds(text);

    ElementValues values, strict, unbroken, broken;
    bool const taken = customers::ReadRegistration(text, types, false, values);
    if (customers::ReadRegistration(text, types, true, strict))
        fuzz::Check(taken && strict == values, "a mail without a bad field is the same to both");
    std::string in_pieces;
    for (char const c : joined) in_pieces.append(1, c).append(c == '>' ? "\r\n" : "\n");
    fuzz::Check(customers::ReadRegistration(joined, types, false, unbroken) == taken &&
                    customers::ReadRegistration(in_pieces, types, false, broken) == taken,
                "line ends decide nothing");
    if (!taken) return;
    fuzz::Check(unbroken == values && broken == values, "line ends are no part of a value");
    AreGood(values, joined);
    ComeBack(values, types);
}
