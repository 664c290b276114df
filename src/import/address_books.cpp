#include "import/address_books.h"

#include <algorithm>
#include <iterator>

#include "platform/file.h"
#include "tessaly/environment/env_manager.h"
#include "tessaly/environment/system_option.h"
#include "tessaly/platform/process.h"
#include "tessaly/storage/split_string.h"
#include "tessaly/text/dates.h"
#include "tessaly/text/dividers.h"

namespace customers {
namespace {

constexpr int none = -1;
constexpr int direct_mail_for_all = 1, direct_mail_for_none = 2, direct_mail_for_new = 3;
constexpr char const* not_opened = "CSVファイルが開けません。";
constexpr char const* no_titles = "タイトル行が見つかりません。";

}  // namespace

void AddressBook::SetDirectMail() {
    bool const for_all = direct_mail_ == direct_mail_for_all || direct_mail_ == direct_mail_for_none;
    if (IsKnown() && !for_all) return;
    bool const yes = direct_mail_ == direct_mail_for_all || direct_mail_ == direct_mail_for_new;
    Put(element_direct_mail, yes ? "Y" : "N");
}

// --- 筆まめ ---

namespace {

constexpr char const* fwa_head = "筆まめ住所録ファイルの解析に失敗しました。";
constexpr int attribute_a_type = SystemOption::cell_extra_types, text_type = 0;
constexpr int prefecture_element = 11, address_element = 12;
constexpr std::size_t bytes_of_day = text::bytes_of_date_parts[3];
// In the order of the titles; the first two feed no field.
enum FwaTitle : std::size_t { fwa_number, fwa_address, fwa_first_field };

}  // namespace

FwaImport::FwaImport(CDatabaseEdit& table, EnvManager* env, SystemOption* option, ForeignCall const& call,
                     CString const& converter, int direct_mail)
    : AddressBook(table, env, option, call, records_,
                  {"筆まめの住所録を%s形式に変換中です", "○インポート対象筆まめ住所録ファイル\n%s\n\n",
                   CDatabaseEdit::fwa_bad_argument, CDatabaseEdit::fwa_not_opened},
                  direct_mail),
      converter_(converter),
      records_(call.options.whole_file) {
    std::fill(std::begin(columns_), std::end(columns_), none);
}

std::span<ForeignImport::Field const> FwaImport::Fields() const {
    static constexpr Field fields[] = {
        {"No.", element_id, Rule::own},
        {"e-mail", element_address, Rule::own},
        {"氏名", 2, Rule::text},
        {"ﾌﾘｶﾞﾅ", 4, Rule::text},
        {"会社名", 6, Rule::text},
        {"部署名１", 7, Rule::text},
        {"誕生日", element_birthday, Rule::own},
        {"〒", element_zip_code_1, Rule::own},
        {"住所１", prefecture_element, Rule::own},
        {"TEL.", 15, Rule::own},
        {"TEL.2:FAX.", 17, Rule::own},
        {"TEL.3:携帯", 19, Rule::own},
        {"性別", element_first_attribute, Rule::text},
    };
    static_assert(std::size(fields) == titles);
    return fields;
}

int FwaImport::ColumnOf(std::size_t field) const { return field < fwa_first_field ? none : columns_[field]; }
int FwaImport::AddressColumn() const { return columns_[fwa_address]; }
char const* FwaImport::AddressTitle() const { return Fields()[fwa_address].title; }

// The work file of an earlier run must not be taken for the result of this one.
bool FwaImport::Convert() {
    platform::RemoveFile(work_file_);
    if (platform::Exists(work_file_)) return false;
    unsigned exit_code = 1;
    return platform::RunProgram(converter_, {call_.path, "/d:" + work_file_, "/Import", "/r:100000000"},
                                exit_code, call_.options.stop) &&
           exit_code == 0;
}

int FwaImport::OpenBehindLog() {
    if (!CellIs(attribute_a_type, text_type))
        return Stop(CDatabaseEdit::import_failed, "拡張属性の項目Aが文字列型ではありません。");
    work_file_ = env_->GetEnvRoot() + env_->GetEnvName() + "\\fwaimport.tmp";
    converted_ = Convert();
    if (IsStopped()) return StopByUser();
    if (!converted_)
        return Stop(CDatabaseEdit::fwa_not_converted, CString(fwa_head) + "Fwaファイルの解析ができません。");
    if (!records_.Open(work_file_))
        return Stop(CDatabaseEdit::fwa_not_opened, CString(fwa_head) + not_opened);
    if (!records_.ReadTitles()) return Stop(CDatabaseEdit::fwa_bad_titles, CString(fwa_head) + no_titles);
    if (!records_.ReadTitles())
        return Stop(CDatabaseEdit::fwa_bad_titles, CString(fwa_head) + "データがありません。");
    return FindTitles();
}

int FwaImport::FindTitles() {
    for (std::size_t i = 0; i < titles; ++i) {
        char const* const title = Fields()[i].title;
        for (int column = 0; column < records_.Count(); ++column)
            if (FieldAt(column) == title) columns_[i] = column;
        if (columns_[i] == none)
            return Stop(CDatabaseEdit::fwa_bad_titles, CString(fwa_head) + title + "が見つかりません。");
    }
    return CDatabaseEdit::ok;
}

void FwaImport::Close() {
    records_.Close();
    if (converted_) platform::RemoveFile(work_file_);
}

void FwaImport::TakeOwn(std::size_t field, std::string_view value) {
    int const element = Fields()[field].element;
    CString const text(value);
    if (element == element_birthday) {
        char date[text::date_data_size] = {};
        if (!text.IsEmpty()) ReFormat_DateData(text, date, 0);
        return Put(element, CString(std::string_view(date).substr(0, bytes_of_day)));
    }
    if (element == prefecture_element) {
        CString prefecture, rest;
        if (!text.IsEmpty()) {
            TakeText(TitleOf(field), address_element, value);
            xc_divide_address(CString(Taken(address_element)), prefecture, rest);
        }
        Put(prefecture_element, prefecture);
        return Put(address_element, rest);
    }
    CString number;
    if (!text.IsEmpty()) xc_format_codenumber(text, number);
    if (element == element_zip_code_1) table_.HyphenCut(&number, &number);
    Put(element, number);
    Put(element + 1, {});
}

CString FwaImport::RefusedLine() const {
    return "ｶｰﾄﾞNo." + CString(FieldAt(columns_[fwa_number])) + "のお客様は、" + Reason() +
           "ためインポート出来ませんでした。\n";
}

// --- Becky! ---

namespace {

constexpr int becky_columns = 11;
// In the order in which the fields are taken: the field's place in the line.
constexpr int becky_places[] = {3, 4, 1, 2, 10, 9, 8, 7, 5, 6};

}  // namespace

BeckyImport::BeckyImport(CDatabaseEdit& table, EnvManager* env, SystemOption* option, ForeignCall const& call,
                         int direct_mail)
    : AddressBook(
          table, env, option, call, lines_,
          {"Becky!のデータファイルを%s形式に変換中です", "○インポート対象Becky! データファイル\n%s\n\n",
           CDatabaseEdit::becky_bad_argument, CDatabaseEdit::becky_no_log},
          direct_mail) {}

std::span<ForeignImport::Field const> BeckyImport::Fields() const {
    static constexpr Field fields[] = {
        {"姓", 2, Rule::text},
        {"名", 3, Rule::text},
        {"会社名/団体名", 6, Rule::text},
        {"部署名", 7, Rule::text},
        {"郵便番号", 9, Rule::postal_code},
        {"都道府県・州", 11, Rule::text},
        {"市区町村", 12, Rule::text},
        {"番地", 13, Rule::text},
        {"自宅電話番号", 15, Rule::number},
        {"FAX番号", 17, Rule::number},
    };
    static_assert(std::size(fields) == std::size(becky_places));
    return fields;
}

int BeckyImport::ColumnOf(std::size_t field) const { return becky_places[field]; }
char const* BeckyImport::AddressTitle() const { return "メール アドレス"; }
bool BeckyImport::HasAllFields() const { return lines_.Count() == becky_columns; }

int BeckyImport::OpenBehindLog() {
    if (lines_.Open(call_.path)) return CDatabaseEdit::ok;
    return Stop(CDatabaseEdit::becky_not_opened,
                CString("Becky! のデータファイルの解析に失敗しました。") + not_opened);
}

CString BeckyImport::RefusedLine() const {
    CString head;
    head.Format("%d行目のお客様(メールアドレス:", LineNumber());
    return head + CString(FieldAt(0)) + ")は、" + Reason() + "ためインポート出来ませんでした。\n";
}

// --- OutLook ---

namespace {

constexpr int most_titles = 29;
constexpr char const* outlook_head = "OutLook データファイルの解析に失敗しました。";
constexpr std::size_t outlook_address = 0;

}  // namespace

OutLookImport::OutLookImport(CDatabaseEdit& table, EnvManager* env, SystemOption* option,
                             ForeignCall const& call, int direct_mail)
    : AddressBook(
          table, env, option, call, records_,
          {"OutLookのデータを%s形式に変換中です", "○インポート対象OutLook Express データファイル\n%s\n\n",
           CDatabaseEdit::outlook_bad_argument, CDatabaseEdit::outlook_not_opened},
          direct_mail),
      records_(call.options.whole_file) {
    std::fill(std::begin(columns_), std::end(columns_), none);
}

// The other titles that OutLook writes feed nothing.
std::span<ForeignImport::Field const> OutLookImport::Fields() const {
    static constexpr Field fields[] = {
        {"電子メール アドレス", element_address, Rule::own},
        {"姓", 2, Rule::text},
        {"名", 3, Rule::text},
        {"会社名", 6, Rule::text},
        {"部署名", 7, Rule::text},
        {"自宅の郵便番号", 9, Rule::postal_code},
        {"自宅の都道府県", 11, Rule::text},
        {"自宅の市区町村", 12, Rule::text},
        {"自宅の番地", 13, Rule::text},
        {"自宅電話番号 :", 15, Rule::number},
        {"自宅ファックス", 17, Rule::number},
        {"携帯電話 ", 19, Rule::number},
    };
    static_assert(std::size(fields) == titles);
    return fields;
}

int OutLookImport::ColumnOf(std::size_t field) const {
    return field == outlook_address ? none : columns_[field];
}
int OutLookImport::AddressColumn() const { return columns_[outlook_address]; }
char const* OutLookImport::AddressTitle() const { return Fields()[outlook_address].title; }

int OutLookImport::OpenAheadOfLog() {
    if (records_.Open(call_.path)) return CDatabaseEdit::ok;
    return Stop(CDatabaseEdit::outlook_not_opened,
                CString("OutLook のデータファイルの解析に失敗しました。") + not_opened);
}

int OutLookImport::ReadTitles() {
    std::string line;
    records_.ReadTitles(line);
    auto const stop = [&](char const* why) {
        return Stop(CDatabaseEdit::outlook_bad_titles, CString(outlook_head) + why);
    };
    if (line.empty()) return stop(no_titles);
    CArray<CString, CString> found;
    SplitString(CString(std::string_view(line)), found, ",", '"');
    title_count_ = found.GetSize();
    if (title_count_ > most_titles) return stop("項目数が異なっています。");
    for (int column = 0; column < title_count_; ++column)
        for (std::size_t i = 0; i < titles; ++i)
            if (found[column] == Fields()[i].title) columns_[i] = column;
    return columns_[outlook_address] == none ? stop("メールアドレスが見つかりません。") : CDatabaseEdit::ok;
}

CString OutLookImport::RefusedLine() const {
    CString head;
    head.Format("%d行目のお客様(%s:", LineNumber(), AddressTitle());
    return head + CString(FieldAt(AddressColumn())) + ")は、" + Reason() +
           "ためインポート出来ませんでした。\n";
}

}  // namespace customers
