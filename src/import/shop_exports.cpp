#include "import/shop_exports.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "tessaly/environment/system_option.h"
#include "tessaly/platform/dialog.h"
#include "tessaly/text/dates.h"
#include "tessaly/text/value_checks.h"

namespace customers {
namespace {

constexpr int none = -1;
constexpr char const* leave_known = "2";
constexpr char const* leave_newer = "0";
constexpr char const* replace_all = "1";
constexpr int day_parts = 3, minute_parts = 5;
constexpr char const* not_opened = "CSVファイルが開けません。";
constexpr char const* no_titles = "タイトル行が見つかりません。";

}  // namespace

CString ShopExport::LogLine(CString const& rest) const {
    CString head;
    head.Format("%d行目のお客様(%s:", LineNumber(), NamingTitle());
    return head + CString(NamingField()) + ")は、" + rest;
}

bool ShopExport::LeavesAlone() {
    if (duplicate_ == leave_known) {
        Log().WriteRefused(LogLine("既に存在するためインポートしませんでした。\n"));
        return true;
    }
    if (duplicate_ != leave_newer) return false;
    COleDateTime const stored = Convert_DateData2COleDateTime(CString(StoredValue(element_renewal_date)));
    bool const dated = date_.GetStatus() == COleDateTime::valid;
    if (dated && !(date_ < stored)) return false;
    Log().WriteRefused(LogLine("既存データの方が新しいためインポートしませんでした。\n"));
    return true;
}

bool ShopExport::TakeDate(char const* title, std::string_view value, int parts, CString& date) {
    char stored[text::date_data_size] = {};
    if (ReFormat_DateData(CString(value), stored, 0) < parts) {
        RefuseValue(title);
        return false;
    }
    date = stored;
    return true;
}

void ShopExport::SetComparisonDate(CString const& date) { date_ = Convert_DateData2COleDateTime(date); }

void ShopExport::TakeChoice(char const* title, std::string_view value, char const* yes, char const* no) {
    if (value.empty() || value == yes)
        PutField(element_direct_mail, "Y");
    else if (value == no)
        PutField(element_direct_mail, "N");
    else
        RefuseValue(title);
}

// --- Corvane ---

namespace {

constexpr char const* corvane_head = "Corvane データファイルの解析に失敗しました。";
constexpr char const* no_dates =
    "\r\n更新日時がデータに含まれていないため、全て上書きにてインポートを実行します。\r\nよろしいですか？";
constexpr unsigned yes_or_no_at_risk = 0x134;  // the second button as default, an exclamation mark
enum CorvaneTitle : std::size_t {
    corvane_id,
    corvane_first_field = 3,
    corvane_address = 11,
    corvane_wish,
    corvane_date
};

}  // namespace

CorvaneImport::CorvaneImport(CDatabaseEdit& table, EnvManager* env, SystemOption* option,
                             ForeignCall const& call, CString const& duplicate)
    : ShopExport(table, env, option, call, records_,
                 {"Corvaneのデータを%s形式に変換中です", "○インポート対象Corvane データファイル\n%s\n\n",
                  CDatabaseEdit::corvane_bad_argument, CDatabaseEdit::corvane_not_opened},
                 duplicate),
      records_(call.options.whole_file) {
    std::fill(std::begin(columns_), std::end(columns_), none);
}

std::span<ForeignImport::Field const> CorvaneImport::Fields() const {
    static constexpr Field fields[] = {
        {"顧客ID", element_id, Rule::own},
        {"ユーザーID", element_id, Rule::own},
        {"アクセスコード", element_id, Rule::own},
        {"顧客名(姓)", 2, Rule::text},
        {"顧客名(名)", 3, Rule::text},
        {"顧客名よみ(姓)", 4, Rule::text},
        {"顧客名よみ(名)", 5, Rule::text},
        {"郵便番号", element_zip_code_1, Rule::postal_code},
        {"都道府県", 11, Rule::text},
        {"住所", 12, Rule::text},
        {"電話番号", element_phone_1, Rule::number},
        {"メールアドレス", element_address, Rule::own},
        {"配信希望", element_direct_mail, Rule::own},
        {"更新日時", element_renewal_date, Rule::own},
    };
    static_assert(std::size(fields) == titles);
    return fields;
}

int CorvaneImport::ColumnOf(std::size_t field) const {
    return field < corvane_first_field || field == corvane_address ? none : columns_[field];
}
int CorvaneImport::AddressColumn() const { return columns_[corvane_address]; }
char const* CorvaneImport::AddressTitle() const { return Fields()[corvane_address].title; }
char const* CorvaneImport::NamingTitle() const { return Fields()[corvane_id].title; }
std::string_view CorvaneImport::NamingField() const { return FieldAt(columns_[corvane_id]); }

int CorvaneImport::OpenBehindLog() {
    if (records_.Open(call_.path)) return CDatabaseEdit::ok;
    return Stop(CDatabaseEdit::corvane_not_opened,
                CString("Corvane のデータファイルの解析に失敗しました。") + not_opened);
}

int CorvaneImport::ReadTitles() {
    auto const stop = [&](CString const& why) {
        return Stop(CDatabaseEdit::corvane_bad_titles, corvane_head + why);
    };
    if (!records_.ReadTitles()) return stop(no_titles);
    for (int column = 0; column < records_.Count(); ++column)
        for (std::size_t i = 0; i < titles; ++i)
            if (FieldAt(column) == Fields()[i].title) columns_[i] = column;
    for (std::size_t i = 0; i < corvane_date; ++i)
        if (columns_[i] == none) return stop(CString(Fields()[i].title) + "が見つかりません。");
    return columns_[corvane_date] == none ? AskWithoutDates() : static_cast<int>(CDatabaseEdit::ok);
}

int CorvaneImport::AskWithoutDates() {
    fields_wanted_ = titles - 1;
    if (duplicate_ != leave_newer) return CDatabaseEdit::ok;
    if (ShowMessageBox(no_dates, "インポートの確認", yes_or_no_at_risk) != IDYES) {
        return Stop(CDatabaseEdit::import_declined,
                    "更新日時がデータに含まれていないため処理を中断しました。", no_number);
    }
    duplicate_ = replace_all;
    return CDatabaseEdit::ok;
}

void CorvaneImport::TakeOwn(std::size_t field, std::string_view value) {
    char const* const title = Fields()[field].title;
    if (field == corvane_wish) return TakeChoice(title, value, "希望する", "希望しない");
    CString date;
    if (!value.empty() && TakeDate(title, value, minute_parts, date)) SetComparisonDate(date);
}

// --- Belmora ---

namespace {

constexpr char const* belmora_head = "Belmora データファイルの解析に失敗しました。";
constexpr std::string_view digits = "1234567890";
constexpr int attribute_names = SystemOption::cell_extra_names,
              attribute_types = SystemOption::cell_extra_types;
constexpr int free_names = 20;  // the first of their cells
enum BelmoraTitle : std::size_t {
    belmora_address = 0,
    belmora_birthday = 7,
    belmora_wish = 15,
    first_attribute = 16,  // A
    first_number = 17,     // B and C
    last_number = 18,
    first_free = 22,  // G to P
    last_free = 31,
    number_r = 33,
    day_s = 34,
    behind_attributes = 35,
    belmora_entry = 35,
    belmora_renewal = 36,
};

// Attributes with a fixed meaning: their type, and the reason that refuses another one.
constexpr struct {
    int attribute, type;
    char const* refusal;
} fixed_attributes[] = {
    {0, 0, "拡張属性の項目Aが文字列型ではありません。"},  {1, 1, "拡張属性の項目Bが数値型ではありません。"},
    {2, 1, "拡張属性の項目Cが数値型ではありません。"},    {3, 0, "拡張属性の項目Dが文字列型ではありません。"},
    {4, 0, "拡張属性の項目Eが文字列型ではありません。"},  {5, 0, "拡張属性の項目Fが文字列型ではありません。"},
    {16, 0, "拡張属性の項目Qが文字列型ではありません。"}, {17, 1, "拡張属性の項目Rが数値型ではありません。"},
    {18, 2, "拡張属性の項目Sが日付型ではありません。"},
};

char const* TypeOf(std::size_t attribute) {
    for (auto const& known : fixed_attributes)
        if (known.attribute == static_cast<int>(attribute))
            return known.type == 2 ? "2" : known.type == 1 ? "1" : "0";
    return "0";
}

}  // namespace

BelmoraImport::BelmoraImport(CDatabaseEdit& table, EnvManager* env, SystemOption* option,
                             ForeignCall const& call, CString const& duplicate, bool rewrite_attributes)
    : ShopExport(table, env, option, call, lines_,
                 {"Belmoraのデータを%s形式に変換中です", "○インポート対象Belmora データファイル\n%s\n\n",
                  CDatabaseEdit::belmora_bad_argument, CDatabaseEdit::belmora_not_opened},
                 duplicate),
      rewrite_attributes_(rewrite_attributes) {
    std::fill(std::begin(columns_), std::end(columns_), none);
}

// The titles of the attributes come from the file.
std::span<ForeignImport::Field const> BelmoraImport::Fields() const {
    static constexpr Field fields[] = {
        {"メールアドレス", 1, Rule::own},
        {"姓", 2, Rule::text},
        {"名", 3, Rule::text},
        {"姓（ふりがな）", 4, Rule::text},
        {"名（ふりがな）", 5, Rule::text},
        {"会社名", 6, Rule::text},
        {"部署名", 7, Rule::text},
        {"生年月日", 8, Rule::own},
        {"郵便番号", 9, Rule::postal_code},
        {"都道府県", 11, Rule::text},
        {"市区町村", 12, Rule::text},
        {"番地以下", 13, Rule::text},
        {"電話番号", 15, Rule::number},
        {"FAX番号", 17, Rule::number},
        {"携帯番号", 19, Rule::number},
        {"DM配信", 21, Rule::own},
        {"", 28, Rule::own},
        {"", 29, Rule::own},
        {"", 30, Rule::own},
        {"", 31, Rule::own},
        {"", 32, Rule::own},
        {"", 33, Rule::own},
        {"", 34, Rule::own},
        {"", 35, Rule::own},
        {"", 36, Rule::own},
        {"", 37, Rule::own},
        {"", 38, Rule::own},
        {"", 39, Rule::own},
        {"", 40, Rule::own},
        {"", 41, Rule::own},
        {"", 42, Rule::own},
        {"", 43, Rule::own},
        {"", 44, Rule::own},
        {"", 45, Rule::own},
        {"", 46, Rule::own},
        {"登録日時", 54, Rule::own},
        {"最終更新日時", 55, Rule::own},
    };
    static_assert(std::size(fields) == titles);
    return fields;
}

int BelmoraImport::ColumnOf(std::size_t field) const {
    return field == belmora_address ? none : columns_[field];
}
int BelmoraImport::AddressColumn() const { return columns_[belmora_address]; }
char const* BelmoraImport::AddressTitle() const { return Fields()[belmora_address].title; }

int BelmoraImport::OpenAheadOfLog() {
    if (lines_.Open(call_.path)) return CDatabaseEdit::ok;
    return Stop(CDatabaseEdit::belmora_not_opened,
                CString("Belmoraのデータファイルの解析に失敗しました。") + not_opened);
}

int BelmoraImport::ReadTitles() {
    auto const stop = [&](char const* why) {
        return Stop(CDatabaseEdit::belmora_bad_titles, CString(belmora_head) + why);
    };
    if (lines_.Next() != FieldSource::Got::line) return stop(no_titles);
    if (!HasAllFields()) return stop("項目数が異なっています。");
    if (int const problem = FindTitles()) return problem;
    RewriteAttributes();
    if (option_->WriteSODataFromMemoryToFile() != SystemOption::ok)
        return Stop(CDatabaseEdit::import_failed, option_->GetErrMsg().GetLastMsg());
    for (std::size_t i = first_free; i <= last_free; ++i) {
        CString type;
        option_->GetSODataFromMemoryPinPoint(attribute_types + static_cast<int>(i - first_attribute), type);
        free_types_[i - first_free] = std::atoi(type);
    }
    return TestAttributes();
}

int BelmoraImport::FindTitles() {
    for (std::size_t i = 0; i < titles; ++i) {
        bool const from_file = i >= first_attribute && i < behind_attributes;
        titles_[i] = from_file ? CString(FieldAt(static_cast<int>(i))) : CString(Fields()[i].title);
    }
    for (int column = 0; column < lines_.Count(); ++column) {
        auto const* const same =
            std::find_if(std::begin(titles_), std::end(titles_),
                         [&](CString const& title) { return title.View() == FieldAt(column); });
        if (same != std::end(titles_)) columns_[same - titles_] = column;
    }
    for (std::size_t i = 0; i < titles; ++i)
        if (columns_[i] == none)
            return Stop(CDatabaseEdit::belmora_bad_titles, belmora_head + titles_[i] + "が見つかりません。");
    return CDatabaseEdit::ok;
}

void BelmoraImport::SetCell(int cell, CString value) { option_->SetSODataToMemoryPinPoint(cell, value); }

void BelmoraImport::RewriteAttributes() {
    if (rewrite_attributes_) {
        for (std::size_t i = first_attribute; i < behind_attributes; ++i) {
            auto const attribute = static_cast<int>(i - first_attribute);
            SetCell(attribute_names + attribute, titles_[i]);
            SetCell(attribute_types + attribute, TypeOf(i - first_attribute));
        }
        return;
    }
    CString flag;
    option_->GetSODataFromMemoryPinPoint(SystemOption::cell_import_flag, flag);
    if (flag != "Y") return;
    for (std::size_t i = first_free; i <= last_free; ++i)
        SetCell(free_names + static_cast<int>(i - first_free), titles_[i]);
}

int BelmoraImport::TestAttributes() {
    for (auto const& fixed : fixed_attributes)
        if (!CellIs(attribute_types + fixed.attribute, fixed.type))
            return Stop(CDatabaseEdit::import_failed, fixed.refusal);
    return CDatabaseEdit::ok;
}

// The conversions of the fields that are neither text nor number, in the order of the titles. Any other is
// stored unchanged.
void BelmoraImport::TakeOwn(std::size_t field, std::string_view value) {
    static constexpr struct {
        std::size_t first, last;
        void (BelmoraImport::*take)(std::size_t field, std::string_view value);
    } ways[] = {
        {belmora_birthday, belmora_birthday, &BelmoraImport::TakeDay},
        {belmora_wish, belmora_wish, &BelmoraImport::TakeWish},
        {first_number, last_number, &BelmoraImport::TakeNumber},
        {first_free, last_free, &BelmoraImport::TakeFree},
        {number_r, number_r, &BelmoraImport::TakeNumber},
        {day_s, day_s, &BelmoraImport::TakeDay},
        {belmora_entry, belmora_entry, &BelmoraImport::TakeEntryDate},
        {belmora_renewal, belmora_renewal, &BelmoraImport::TakeRenewalDate},
    };
    for (auto const& way : ways)
        if (field >= way.first && field <= way.last) return (this->*way.take)(field, value);
    PutField(Fields()[field].element, value);
}

void BelmoraImport::TakeDay(std::size_t field, std::string_view value) {
    CString date;
    if (value.empty() || TakeDate(titles_[field], value, day_parts, date)) Put(Fields()[field].element, date);
}

void BelmoraImport::TakeWish(std::size_t field, std::string_view value) {
    TakeChoice(titles_[field], value, "Y", "N");
}

void BelmoraImport::TakeNumber(std::size_t field, std::string_view value) {
    if (value.find_first_not_of(digits) != value.npos) return RefuseValue(titles_[field]);
    PutField(Fields()[field].element, value);
}

// An attribute whose type is in the settings.
void BelmoraImport::TakeFree(std::size_t field, std::string_view value) {
    int const type = free_types_[field - first_free];
    int const element = Fields()[field].element;
    if (type == 0 || value.empty()) return PutField(element, value);
    CString stored;
    if (!CheckAttribute(CString(value), type, stored)) return RefuseValue(titles_[field]);
    Put(element, stored);
}

void BelmoraImport::TakeEntryDate(std::size_t field, std::string_view value) {
    CString date;
    if (value.empty()) return PutField(Fields()[field].element, PresentTime());
    if (TakeDate(titles_[field], value, minute_parts, date)) Put(Fields()[field].element, date);
}

void BelmoraImport::TakeRenewalDate(std::size_t field, std::string_view value) {
    CString date;
    if (value.empty()) return Refuse(titles_[field], "が設定されていない、");
    if (TakeDate(titles_[field], value, minute_parts, date)) SetComparisonDate(date);
}

bool BelmoraImport::CheckAttribute(CString const& value, int type, CString& out) {
    out.Empty();
    if (type == 2) {
        char date[text::date_data_size];
        out = CString(text::DateAsGiven(value.View(), date));
        return !out.IsEmpty();
    }
    if (type == 1 && CheckNumberData(value) != 1) return false;
    out = value;
    return true;
}

}  // namespace customers
