#include "engine/customers/elements.h"

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/whole_number.h"

namespace engine {
namespace {

constexpr std::string_view attribute_prefix = "拡張属性";

int AttributeOf(std::string_view name) {
    if (!name.starts_with(attribute_prefix) || name.size() != attribute_prefix.size() + 1) return -1;
    char const letter = name.back();
    return letter >= 'A' && letter <= 'T' ? customers::element_first_attribute + (letter - 'A') : -1;
}

}  // namespace

bool IsForPeople(int element) {
    return MemberOf(element) || element == customers::element_id ||
           element == customers::element_entry_date || element == customers::element_renewal_date;
}

Elements::Elements(Session& session) {
    CArray<DB_Element_Info, DB_Element_Info> info;
    if (session.Customers().Get_DBElementInfo(info, CString('1', customers::element_count)) < 0)
        throw Failure(Failure::operation_failed,
                      "列の情報を読めません: " + TextOf(session.Customers().GetErrMsg()));
    for (int i = 0; i < info.GetSize(); ++i)
        all_.push_back({info[i].ElementNumber, Out(info[i].Title), info[i].Type,
                        customers::RuleOf(info[i].ElementNumber, info[i].Type)});
}

int Elements::FindTitle(std::string_view title) const {
    for (Element const& element : all_)
        if (!element.title.empty() && element.title == title) return element.number;
    return AttributeOf(title);
}

int Elements::Find(std::string_view name) const {
    if (int const element = FindTitle(name); element >= 0) return element;
    int const number = WholeNumber(name).value_or(-1);
    return customers::IsElement(number) ? number : -1;
}

std::string Elements::Titles() const {
    std::string titles;
    for (Element const& element : all_)
        if (!element.title.empty() && IsForPeople(element.number))
            titles += (titles.empty() ? "" : "、") + element.title;
    return titles;
}

int Elements::Named(std::string_view name) const {
    if (int const number = Find(name); number >= 0) return number;
    throw Failure(Failure::unknown_column,
                  "そういう列はありません: " + std::string(name) + "\n使える列: " + Titles());
}

std::vector<int> Elements::NamedList(std::string_view names) const {
    std::vector<int> numbers;
    for (;;) {
        std::size_t const comma = names.find(',');
        numbers.push_back(Named(names.substr(0, comma)));
        if (comma == names.npos) return numbers;
        names.remove_prefix(comma + 1);
    }
}

std::string RefusalText(customers::FieldRule rule, bool is_empty) {
    switch (rule) {
        case customers::FieldRule::address:
            return is_empty ? "メールアドレスがありません" : "メールアドレスの形が正しくありません";
        case customers::FieldRule::birth_date:
        case customers::FieldRule::date: return "日付が正しくありません (例: 1990/04/01)";
        case customers::FieldRule::code_number: return "数字とハイフンのほかは使えません";
        case customers::FieldRule::direct_mail: return "Y か N のどちらかです";
        case customers::FieldRule::delete_flag: return "Y か空のどちらかです";
        case customers::FieldRule::number: return "数 (9桁まで) ではありません";
        case customers::FieldRule::text: break;
    }
    return {};
}

bool TakeValue(Element const& element, std::string_view field, char (&converted)[text::date_data_size],
               std::string_view& value) {
    customers::FieldRule const rule = element.rule;
    bool const taken = customers::TakeField(rule, field, converted, value);
    return taken && !(rule == customers::FieldRule::direct_mail && value == customers::bad_direct_mail);
}

std::string RefusalOf(Element const& element, CString const& value) {
    char converted[text::date_data_size];
    std::string_view stored;
    return TakeValue(element, value.View(), converted, stored) ? ""
                                                               : RefusalText(element.rule, value.IsEmpty());
}

CString AsImported(Element const& element, CString const& value) {
    char converted[text::date_data_size];
    std::string_view stored;
    customers::TakeField(element.rule, value.View(), converted, stored);
    return CString(stored);
}

std::string WithValue(Element const& element, std::string const& remark, CString const& value) {
    return element.title + ": " + remark + (value.IsEmpty() ? "" : ": " + OnOneLine(Out(value)));
}

CString OneCustomer::*MemberOf(int element) {
    bool const changeable = customers::IsElement(element) && element != customers::element_delete_flag;
    return changeable ? customers::DefinitionOf(element).member : nullptr;
}

Assignment ReadAssignment(Elements const& elements, std::string_view text) {
    std::size_t const equals = text.find('=');
    if (equals == text.npos)
        throw Failure(Failure::invalid_value, "「列=値」の形で書いてください: " + std::string(text));
    Element const& element = elements.At(elements.Named(text.substr(0, equals)));
    if (!MemberOf(element.number))
        throw Failure(Failure::invalid_value, "この列は変えられません: " + element.title);
    return {element.number, Into(text.substr(equals + 1), element.title)};
}

}  // namespace engine
