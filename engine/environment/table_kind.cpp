#include "engine/environment/table_kind.h"

#include <algorithm>

namespace engine {
namespace {

constexpr std::string_view extension = ".dat";

std::vector<TableKind> const kinds = {
    {TableKind::settings, "systemoption", false, {123, 120, 90}, false, "設定"},
    {TableKind::customers, "database", false, {56}, true, "顧客データ"},
    {TableKind::testers, "testmailinginfo", false, {56}, true, "テスト送信の相手"},
    {TableKind::mails, "maillist", false, {13, 12}, true, "メールの一覧"},
    {TableKind::groups, "extrlist", false, {5}, true, "保存した宛先の一覧"},
    {TableKind::texts, "mail", true, {2}, false, "メールの本文"},
    {TableKind::conditions, "merd", true, {7}, false, "宛先の条件"},
    {TableKind::conditions, "exrd", true, {7}, false, "宛先の条件"},
    {TableKind::recipients, "meli", true, {1}, true, "宛先"},
    {TableKind::recipients, "exsl", true, {1}, true, "宛先"},
    {TableKind::history, "hist", true, {6}, true, "送信履歴"},
    {TableKind::attachments, "attc", true, {2}, false, "添付ファイルの一覧"},
    {TableKind::attachments, "at_pc", true, {2}, false, "添付ファイルの一覧"},
    {TableKind::attachments, "at_nd", true, {2}, false, "添付ファイルの一覧"},
    {TableKind::attachments, "at_at", true, {2}, false, "添付ファイルの一覧"},
    {TableKind::attachments, "at_sb", true, {2}, false, "添付ファイルの一覧"},
    {TableKind::attachments, "at_wl", true, {2}, false, "添付ファイルの一覧"},
};

bool IsNumber(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

}  // namespace

TableKind const* TableKindOf(std::string_view path) {
    std::string_view name = path.substr(path.rfind('/') + 1);
    if (!name.ends_with(extension)) return nullptr;
    name.remove_suffix(extension.size());
    auto const kind = std::find_if(kinds.begin(), kinds.end(), [&](TableKind const& known) {
        if (!name.starts_with(known.start)) return false;
        std::string_view const rest = name.substr(known.start.size());
        return known.numbered ? IsNumber(rest) : rest.empty();
    });
    return kind == kinds.end() ? nullptr : &*kind;
}

}  // namespace engine
