#include "engine/environment/settings_catalogue.h"

#include <algorithm>

#include "engine/base/whole_number.h"
#include "tessaly/environment.h"
#include "tessaly/text.h"

namespace engine {
namespace {

constexpr int attributes = SystemOption::extra_attribute_count;
constexpr std::string_view attribute_types = "text|number|date";

std::vector<Setting> Make() {
    using enum SettingKind;
    std::vector<Setting> all = {
        {"smtp.host", 0, text, "", "", "送信サーバーの名前またはアドレス"},
        {"smtp.port", 1, number, "25", "1..65535", "送信サーバーのポート番号"},
        {"smtp.auth", 2, choice, "none", "none|any|cram-md5|login|plain",
         "SMTP認証の方式 (any は使える中で最も安全なもの)"},
        {"smtp.user", 3, text, "", "", "SMTP認証のユーザーID"},
        {"smtp.password", 4, secret, "", "", "SMTP認証のパスワード (表示されません)"},
        {"smtp.timeout", 5, number, "60", "1..3600", "サーバーの応答を待つ秒数"},
        {"from.name", 6, text, "", "", "差出人の名前"},
        {"from.address", 7, text, "", "", "差出人のメールアドレス"},
        {"mailer", 8, text, "Tessaly", "", "X-Mailer に入る名前"},
        {"send.threads", 9, number, "4", "1..64", "同時に使う接続の数"},
        {"retry.allowed", SystemOption::cell_retry_unconditional, choice, "Y", "Y|N",
         "条件なしの再送信を許すか"},
        {"retry.max", SystemOption::cell_retry_limit, number, "3", "0..99", "再送信の回数の上限"},
        {"pop.host", 66, text, "", "", "受信サーバーの名前またはアドレス"},
        {"pop.port", 67, number, "110", "1..65535", "受信サーバーのポート番号"},
        {"pop.auth", 68, choice, "user", "user|apop", "受信サーバーへのログインの方式"},
        {"pop.user", 69, text, "", "", "受信サーバーのユーザーID"},
        {"pop.password", 70, secret, "", "", "受信サーバーのパスワード (表示されません)"},
        {"receive.delete", 71, choice, "N", "Y|N", "受信したメールをサーバーから消すか"},
        {"receive.register", 72, choice, "off", "off|tagged|empty",
         "メールでの登録: 受けない、登録の印のあるもの、空のメールも"},
        {"receive.refuse-keyword", 73, text, "", "", "1行目にあれば配信停止の申し出とみなす言葉"},
        {"receive.refuse-words", 90, text, "unsubscribe,配信停止,配信不要,配信解除,解除,不要,退会", "",
         "件名の全体か短い返信の1行目がこれなら配信停止の申し出とみなす言葉 "
         "(コンマで区切る。空なら既定のもの)"},
        {"smtp.security", 74, choice, "none", "none|tls|starttls",
         "送信サーバーとの暗号化: なし、接続の初めから(465番)、STARTTLS(587番)"},
        {"smtp.ca-file", 75, text, "", "",
         "送信サーバーの証明書を確かめる認証局のファイル (空なら、このコンピューターのもの)"},
        {"smtp.mails-per-connection", 76, number, "50", "1..1000", "暗号化するとき、1つの接続で送る数"},
        {"pop.security", 77, choice, "none", "none|tls|starttls",
         "受信サーバーとの暗号化: なし、接続の初めから(995番)、STLS(110番)"},
        {"pop.ca-file", 78, text, "", "",
         "受信サーバーの証明書を確かめる認証局のファイル (空なら、このコンピューターのもの)"},
        {"news.proxy", 79, text, "", "", "お知らせを見るときのプロキシー (サーバー:ポート)"},
        {"news.proxy-user", 80, text, "", "", "プロキシーのユーザーID"},
        {"news.proxy-password", 81, secret, "", "", "プロキシーのパスワード (表示されません)"},
        {"return.address", 82, address_pattern, "", "",
         "エラーメールの届くアドレス (* に宛先ごとの印が入ります。空なら差出人のアドレス): "
         "bounce+*@shop.example.jp"},
        {"suspend.hard", 86, number, "1", "0..99",
         "宛先不明で戻ったメールがこの数になった宛先に、送るのを止めます (0なら止めません)"},
        {"suspend.soft", 87, number, "3", "0..99",
         "ほかの理由で戻ったメールが、下の日数のうちにこの数になった宛先に、送るのを止めます "
         "(0なら止めません)"},
        {"suspend.days", 88, number, "30", "1..3650", "suspend.soft の数を数える日数"},
        {"receive.largest", 91, number, "64", "1..1024",
         "受信するメールの大きさの上限 (MiB)。大きいものはサーバーに残します"},
        {"import.flag", SystemOption::cell_import_flag, choice, "N", "Y|N", "店舗データの取り込みの切り替え"},
    };
    for (int i = 0; i < attributes; ++i) {
        std::string const letter(1, static_cast<char>('A' + i));
        all.push_back({"attribute." + letter + ".name", SystemOption::cell_extra_names + i, text,
                       "拡張属性" + letter, "", "拡張属性" + letter + "の名前"});
        all.push_back({"attribute." + letter + ".type", SystemOption::cell_extra_types + i, choice, "text",
                       std::string(attribute_types), "拡張属性" + letter + "の種類"});
    }
    return all;
}

// The longest token that an address can get, "m<mail>-c<customer>-<check>", and the limit of RFC
// 5321 4.5.3.1.1.
constexpr std::size_t longest_token = 41, longest_local_part = 64;

std::string RefusalOfPattern(std::string_view value) {
    if (value.empty()) return {};
    std::size_t const star = value.find('*'), at = value.find('@');
    if (star == value.npos || value.find('*', star + 1) != value.npos || star > at)
        return "@ の前に * を1つ入れてください (bounce+*@shop.example.jp)";
    std::string address(value);
    address.replace(star, 1, longest_token, 'm');
    if (MailAddressChecker(address.c_str()) != 1) return "メールアドレスの形が正しくありません";
    if (address.find('@') > longest_local_part) return "@ の前が長すぎます (* のほかに23文字まで)";
    return {};
}

bool IsAttributeType(Setting const& setting) {
    return setting.cell >= SystemOption::cell_extra_types &&
           setting.cell < SystemOption::cell_extra_types + attributes;
}

std::vector<std::string_view> Choices(std::string_view allowed) {
    std::vector<std::string_view> result;
    for (;;) {
        std::size_t const bar = allowed.find('|');
        result.push_back(allowed.substr(0, bar));
        if (bar == allowed.npos) return result;
        allowed.remove_prefix(bar + 1);
    }
}

}  // namespace

std::vector<Setting> const& SettingsCatalogue() {
    static std::vector<Setting> const catalogue = Make();
    return catalogue;
}

Setting const* FindSetting(std::string_view name) {
    auto const& all = SettingsCatalogue();
    auto const found = std::find_if(all.begin(), all.end(), [&](Setting const& s) { return s.name == name; });
    return found == all.end() ? nullptr : &*found;
}

std::string RefusalOf(Setting const& setting, std::string_view value) {
    if (value.find_first_of(std::string_view("\r\n\0", 3)) != value.npos) return "改行は入れられません";
    if (setting.kind == SettingKind::choice) {
        auto const choices = Choices(setting.allowed);
        if (std::find(choices.begin(), choices.end(), value) == choices.end())
            return "値は " + setting.allowed + " のどれかです";
    }
    if (setting.kind == SettingKind::number) {
        std::size_t const dots = setting.allowed.find("..");
        std::string_view const allowed = setting.allowed;
        int const low = WholeNumber(allowed.substr(0, dots)).value_or(0),
                  high = WholeNumber(allowed.substr(dots + 2)).value_or(0);
        auto const number = WholeNumber(value);
        if (!number || *number < low || *number > high)
            return std::to_string(low) + " から " + std::to_string(high) + " までの数を入れてください";
    }
    return setting.kind == SettingKind::address_pattern ? RefusalOfPattern(value) : std::string();
}

std::string ForCell(Setting const& setting, std::string_view value) {
    if (!IsAttributeType(setting)) return std::string(value);
    auto const types = Choices(attribute_types);
    return std::to_string(std::find(types.begin(), types.end(), value) - types.begin());
}

std::string FromCell(Setting const& setting, std::string_view cell) {
    if (!IsAttributeType(setting)) return std::string(cell);
    auto const types = Choices(attribute_types);
    auto const type = WholeNumber<std::size_t>(cell).value_or(0);
    return std::string(types[type < types.size() ? type : 0]);
}

}  // namespace engine
