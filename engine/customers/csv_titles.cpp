#include "engine/customers/csv_titles.h"

#include <cctype>

#include "engine/base/crossing.h"
#include "tessaly/text.h"

namespace engine {
namespace {

// Elements by their own titles, and the names of the same thing elsewhere. A file with one column for the
// whole name, or the whole address, has it in the first part.
struct OtherNames {
    std::string_view title;
    std::string_view names;  // divided by blanks
};
constexpr OtherNames other_names[] = {
    {"メールアドレス",
     "メール mail email e-mail mailaddress emailaddress e-mailaddress Eメール Eメールアドレス 電子メール "
     "電子メールアドレス メアド メールアドレス1"},
    {"名前(姓)",
     "姓 氏名 名前 お名前 名字 苗字 氏 氏名(姓) 姓(漢字) 氏名(漢字) 漢字氏名 顧客名 顧客氏名 会員名"},
    {"名前(名)", "名 氏名(名) 名(漢字)"},
    {"かな(せい)",
     "せい セイ 姓(かな) 姓(カナ) 姓かな 姓カナ 姓(ふりがな) 姓(フリガナ) かな カナ ふりがな フリガナ よみ "
     "よみがな ヨミガナ 氏名(かな) 氏名(カナ) 氏名かな 氏名カナ カナ氏名 氏名(ふりがな) 氏名(フリガナ) "
     "氏名ふりがな 氏名フリガナ カナ(セイ)"},
    {"かな(めい)", "めい メイ 名(かな) 名(カナ) 名かな 名カナ 名(ふりがな) 名(フリガナ) カナ(メイ)"},
    {"会社名", "会社 社名 勤務先 勤務先名 法人名 企業名 会社・団体名"},
    {"部署名", "部署 所属 所属部署 部門 部課名"},
    {"生年月日", "誕生日 お誕生日 誕生年月日 生年月日(西暦)"},
    {"郵便番号", "〒 郵便 郵便番号1 郵便no"},
    {"都道府県", "県 県名 府県 都道府県名 都道府県(住所)"},
    {"市区町村", "市町村 市区郡 市区町村名 市区郡町村 住所 ご住所 住所1"},
    {"番地以下", "番地 住所2 町名番地 丁目番地 それ以降の住所"},
    {"電話番号", "電話 お電話 お電話番号 tel 電話番号1 固定電話 自宅電話 自宅電話番号"},
    {"FAX番号", "fax ファックス ファクス ファクシミリ ファックス番号"},
    {"携帯番号", "携帯 携帯電話 携帯電話番号 携帯電話の番号"},
    {"DM送付可否", "dm dm可否 dm送付 dm送付の可否"},
};

}  // namespace

std::string CsvTitles::KeyOf(std::string_view title) {
    Crossed const crossed = IntoLibrary(title);
    std::string half(crossed.text.size() + 1, '\0');
    xc_zen2han_sjis_all(half.data(), crossed.text.c_str());
    half.resize(half.find('\0'));
    static std::string const postal_mark = IntoLibrary("〒").text;
    std::string key;
    for (std::size_t at = 0; at < half.size();) {
        std::size_t const size = platform::CharacterSize(half, at);
        std::string_view const character = std::string_view(half).substr(at, size);
        at += size;
        if (character == " " || character == "\t" || (character == postal_mark && half.size() > size))
            continue;
        for (char const c : character)
            key += size == 1 ? static_cast<char>(std::tolower(static_cast<unsigned char>(c))) : c;
    }
    return key;
}

CsvTitles::CsvTitles(Elements const& elements) : elements_(elements) {
    for (int number = 0; number < customers::element_count; ++number)
        if (std::string const& title = elements.At(number).title; !title.empty())
            own_.emplace(KeyOf(title), number);
    for (OtherNames const& entry : other_names) {
        int const element = elements.FindTitle(entry.title);
        std::string_view rest = entry.names;
        while (!rest.empty()) {
            std::size_t const end = std::min(rest.find(' '), rest.size());
            other_.emplace(KeyOf(rest.substr(0, end)), element);
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
    }
}

std::vector<int> CsvTitles::Match(std::vector<std::string> const& titles) const {
    std::vector<int> elements(titles.size(), -1);
    std::vector<bool> taken(customers::element_count);
    auto const match = [&](auto const& find) {
        for (std::size_t column = 0; column < titles.size(); ++column) {
            if (elements[column] >= 0 || titles[column].empty()) continue;
            int const element = find(titles[column]);
            if (element <= customers::element_id || taken[static_cast<std::size_t>(element)]) continue;
            elements[column] = element;
            taken[static_cast<std::size_t>(element)] = true;
        }
    };
    auto const by_key = [](std::unordered_map<std::string, int> const& names) {
        return [&names](std::string const& title) {
            auto const found = names.find(KeyOf(title));
            return found == names.end() ? -1 : found->second;
        };
    };
    match([&](std::string const& title) { return elements_.FindTitle(title); });
    match(by_key(own_));
    match(by_key(other_));
    return elements;
}

}  // namespace engine
