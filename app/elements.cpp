#include "elements.h"

#include <charconv>
#include <cstdlib>

#include "crossing.h"
#include "failure.h"
#include "tessaly/text.h"

namespace app {
namespace {

constexpr std::string_view attribute_prefix = "拡張属性";

bool IsCodeNumber(int element) {
    return element == customers::element_zip_code_1 || element == customers::element_zip_code_2 ||
           (element >= customers::element_phone_1 && element <= customers::element_portable_2);
}

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
        throw Failure("列の情報を読めません: " + TextOf(session.Customers().GetErrMsg()));
    for (int i = 0; i < info.GetSize(); ++i)
        all_.push_back({info[i].ElementNumber, Out(info[i].Title), info[i].Type});
}

int Elements::Find(std::string_view name) const {
    for (Element const& element : all_)
        if (!element.title.empty() && element.title == name) return element.number;
    if (int const attribute = AttributeOf(name); attribute >= 0) return attribute;
    int number = -1;
    auto const [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
    bool const whole = error == std::errc() && end == name.data() + name.size();
    return whole && number >= 0 && number < customers::element_count ? number : -1;
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
    throw Failure("そういう列はありません: " + std::string(name) + "\n使える列: " + Titles());
}

std::vector<int> Elements::NamedList(std::string_view names) const {
    std::vector<int> numbers;
    for (;;) {
        const std::size_t comma = names.find(',');
        numbers.push_back(Named(names.substr(0, comma)));
        if (comma == names.npos) return numbers;
        names.remove_prefix(comma + 1);
    }
}

std::string RefusalOf(Element const& element, CString const& value) {
    if (element.number == customers::element_address)
        return MailAddressChecker(value) == 1 ? ""
               : value.IsEmpty()              ? "メールアドレスがありません"
                                              : "メールアドレスの形が正しくありません";
    if (value.IsEmpty()) return {};
    if (element.number == customers::element_birthday || element.type == mydb_date)
        return CheckDateTypeData(value, 3) == 1 ? "" : "日付が正しくありません (例: 1990/04/01)";
    if (IsCodeNumber(element.number))
        return CheckSpecialStringData(value, "1234567890-+") == 1 ? "" : "数字とハイフンのほかは使えません";
    if (element.number == customers::element_direct_mail || element.number == customers::element_other_mail)
        return value == "Y" || value == "N" ? "" : "Y か N のどちらかです";
    if (element.number == customers::element_delete_flag) return value == "Y" ? "" : "Y か空のどちらかです";
    if (element.type == mydb_number) return CheckNumberData(value) == 1 ? "" : "数 (9桁まで) ではありません";
    return {};
}

CString AsImported(Element const& element, CString const& value) {
    if (value.IsEmpty()) return value;
    char date[date_data_size];
    if (element.number == customers::element_birthday) {
        ReFormat_DateData(value, date, 0);
        return CString(date);
    }
    if (element.type == mydb_date) return CString(storage::DateAsGiven(value.View(), date));
    if (element.type == mydb_number) return std::to_string(std::atoi(value)).c_str();
    return value;
}

CString OneCustomer::*MemberOf(int element) {
    bool const changeable = customers::IsElement(element) && element != customers::element_delete_flag;
    return changeable ? customers::DefinitionOf(element).member : nullptr;
}

Assignment ReadAssignment(Elements const& elements, std::string_view text) {
    const std::size_t equals = text.find('=');
    if (equals == text.npos) throw Failure("「列=値」の形で書いてください: " + std::string(text));
    Element const& element = elements.At(elements.Named(text.substr(0, equals)));
    if (!MemberOf(element.number)) throw Failure("この列は変えられません: " + element.title);
    return {element.number, Into(text.substr(equals + 1), element.title)};
}

}  // namespace app
