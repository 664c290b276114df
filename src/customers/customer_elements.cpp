#include "tessaly/customers/customer_elements.h"

#include <cstddef>

#include "tessaly/storage/my_db.h"

namespace customers {
namespace {

using C = OneCustomer;
constexpr int text = 0;
constexpr int number = 1;
constexpr int date = 2;

constexpr ElementDefinition definitions[] = {
    {"個人情報ID", number, nullptr},
    {"メールアドレス", text, &C::Email},
    {"名前(姓)", text, &C::KanjiSei},
    {"名前(名)", text, &C::KanjiMei},
    {"かな(せい)", text, &C::KanaSei},
    {"かな(めい)", text, &C::KanaMei},
    {"会社名", text, &C::Company},
    {"部署名", text, &C::CompanyPost},
    {"生年月日", text, &C::Birthday},
    {"郵便番号", text, &C::ZipCode1},
    {"", text, &C::ZipCode2},
    {"都道府県", text, &C::Prefecture},
    {"市区町村", text, &C::Address1},
    {"番地以下", text, &C::Address2},
    {"", text, &C::Building},
    {"電話番号", text, &C::Phone1},
    {"", text, &C::Phone2},
    {"FAX番号", text, &C::Fax1},
    {"", text, &C::Fax2},
    {"携帯番号", text, &C::Portable1},
    {"", text, &C::Portable2},
    {"DM送付可否", text, &C::DMOk},
    {"DM以外送付可否", text, &C::OtherOk},
    {"余白1", text, nullptr},
    {"余白2", text, nullptr},
    {"余白3", text, nullptr},
    {"余白4", text, nullptr},
    {"余白5", text, nullptr},
    {nullptr, text, &C::ExtraA},
    {nullptr, text, &C::ExtraB},
    {nullptr, text, &C::ExtraC},
    {nullptr, text, &C::ExtraD},
    {nullptr, text, &C::ExtraE},
    {nullptr, text, &C::ExtraF},
    {nullptr, text, &C::ExtraG},
    {nullptr, text, &C::ExtraH},
    {nullptr, text, &C::ExtraI},
    {nullptr, text, &C::ExtraJ},
    {nullptr, text, &C::ExtraK},
    {nullptr, text, &C::ExtraL},
    {nullptr, text, &C::ExtraM},
    {nullptr, text, &C::ExtraN},
    {nullptr, text, &C::ExtraO},
    {nullptr, text, &C::ExtraP},
    {nullptr, text, &C::ExtraQ},
    {nullptr, text, &C::ExtraR},
    {nullptr, text, &C::ExtraS},
    {nullptr, text, &C::ExtraT},
    {"余白6", text, nullptr},
    {"余白7", text, nullptr},
    {"余白8", text, nullptr},
    {"余白9", text, nullptr},
    {"余白10", text, nullptr},
    {"削除フラグ", text, &C::DeleteFlag},
    {"登録日時", date, nullptr},
    {"更新日時", date, nullptr},
};
static_assert(sizeof definitions / sizeof definitions[0] == element_count);

}  // namespace

ElementDefinition const& DefinitionOf(int element) noexcept {
    return definitions[static_cast<std::size_t>(element)];
}

}  // namespace customers
