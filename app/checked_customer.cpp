#include "checked_customer.h"

#include "crossing.h"
#include "failure.h"

namespace app {
namespace {

using Checked = COneCustomerData;

constexpr char const* bad_number = "数字とハイフンのほかは使えません";

// A member whose setter refuses more than the import does.
constexpr struct {
    CString OneCustomer::*member;
    int (Checked::*set)(CString);
    char const* refusal;
} strict_fields[] = {
    {&OneCustomer::Email, &Checked::SetEmail, "メールアドレスの形が正しくありません"},
    {&OneCustomer::ZipCode1, &Checked::SetZipCode, "7桁の数字ではありません (例: 150-0001)"},
    {&OneCustomer::ZipCode2, &Checked::SetZipCode2, "4桁の数字ではありません"},
    {&OneCustomer::Prefecture, &Checked::SetPrefecture, "都道府県の名前ではありません (例: 東京都)"},
    {&OneCustomer::Phone1, &Checked::SetPhone1, bad_number},
    {&OneCustomer::Phone2, &Checked::SetPhone2, bad_number},
    {&OneCustomer::Fax1, &Checked::SetFax1, bad_number},
    {&OneCustomer::Fax2, &Checked::SetFax2, bad_number},
    {&OneCustomer::Portable1, &Checked::SetPortable1, bad_number},
    {&OneCustomer::Portable2, &Checked::SetPortable2, bad_number},
    {&OneCustomer::DMOk, &Checked::SetDMOk, "Y か N のどちらかです"},
};

// Why a person's value is refused; empty when it is good.
std::string StrictRefusalOf(Element const& element, CString const& value) {
    if (const std::string refusal = RefusalOf(element, value); !refusal.empty()) return refusal;
    if (value.IsEmpty() && element.number != customers::element_direct_mail) return {};
    if (Checked::ConvertUnusualData(value, mydb_string) != value) return "改行などの使えない文字があります";
    Checked customer;
    for (auto const& field : strict_fields)
        if (field.member == MemberOf(element.number) && (customer.*field.set)(value) != Checked::set_ok)
            return field.refusal;
    return {};
}

}  // namespace

void TakeValues(Elements const& elements, std::vector<std::string> const& texts, OneCustomer& customer) {
    OneCustomer changed = customer;
    std::string refusals;
    for (std::string const& text : texts) {
        const Assignment given = ReadAssignment(elements, text);
        Element const& element = elements.At(given.element);
        const std::string refusal = StrictRefusalOf(element, given.value);
        if (refusal.empty())
            changed.*MemberOf(element.number) = AsImported(element, given.value);
        else
            refusals += (refusals.empty() ? "" : "\n") + element.title + ": " + refusal +
                        (given.value.IsEmpty() ? "" : ": " + OnOneLine(Out(given.value)));
    }
    if (!refusals.empty()) throw Failure(refusals);
    customer = changed;
}

}  // namespace app
