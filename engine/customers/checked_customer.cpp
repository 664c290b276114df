#include "engine/customers/checked_customer.h"

#include <algorithm>
#include <iterator>

#include "engine/base/failure.h"

namespace engine {
namespace {

using Checked = COneCustomerData;

constexpr char const* bad_number = "数字とハイフンのほかは使えません";

// A member whose setter refuses more than the import does.
constexpr struct {
    CString OneCustomer::*member;
    int (Checked::*set)(CString);
    char const* refusal;
} strict_fields[] = {
    {&OneCustomer::ZipCode1, &Checked::SetZipCode, "7桁の数字ではありません (例: 150-0001)"},
    {&OneCustomer::ZipCode2, &Checked::SetZipCode2, "4桁の数字ではありません"},
    {&OneCustomer::Prefecture, &Checked::SetPrefecture, "都道府県の名前ではありません (例: 東京都)"},
    {&OneCustomer::Phone1, &Checked::SetPhone1, bad_number},
    {&OneCustomer::Phone2, &Checked::SetPhone2, bad_number},
    {&OneCustomer::Fax1, &Checked::SetFax1, bad_number},
    {&OneCustomer::Fax2, &Checked::SetFax2, bad_number},
    {&OneCustomer::Portable1, &Checked::SetPortable1, bad_number},
    {&OneCustomer::Portable2, &Checked::SetPortable2, bad_number},
    {&OneCustomer::OtherOk, &Checked::SetDMOk, "Y か N のどちらかです"},
};

}  // namespace

std::string StrictRules::RefusalOf(Element const& element, CString const& value) {
    if (std::string refusal = engine::RefusalOf(element, value); !refusal.empty()) return refusal;
    if (value.IsEmpty())
        return element.rule == customers::FieldRule::direct_mail ? RefusalText(element.rule, true)
                                                                 : std::string();
    if (Checked::ConvertUnusualData(value, storage::mydb_string) != value)
        return "改行などの使えない文字があります";
    for (auto const& field : strict_fields)
        if (field.member == MemberOf(element.number) && (customer_.*field.set)(value) != Checked::set_ok)
            return field.refusal;
    return {};
}

bool StrictRules::HasOwnRule(Element const& element) {
    return std::any_of(std::begin(strict_fields), std::end(strict_fields),
                       [&](auto const& field) { return field.member == MemberOf(element.number); });
}

void TakeValues(Elements const& elements, std::vector<std::string> const& texts, OneCustomer& customer) {
    OneCustomer changed = customer;
    StrictRules rules;
    std::string refusals;
    for (std::string const& text : texts) {
        Assignment const given = ReadAssignment(elements, text);
        Element const& element = elements.At(given.element);
        std::string const refusal = rules.RefusalOf(element, given.value);
        if (refusal.empty())
            changed.*MemberOf(element.number) = AsImported(element, given.value);
        else
            refusals += (refusals.empty() ? "" : "\n") + WithValue(element, refusal, given.value);
    }
    if (!refusals.empty()) throw Failure(Failure::invalid_value, refusals);
    customer = changed;
}

void RequireAddress(OneCustomer const& customer) {
    if (customer.Email.IsEmpty())
        throw Failure(Failure::invalid_value,
                      "メールアドレスが必要です。「メールアドレス=...」を加えてください。");
}

}  // namespace engine
