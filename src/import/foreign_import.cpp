#include "import/foreign_import.h"

#include <atomic>
#include <cstdlib>

#include "tessaly/environment/system_option.h"
#include "tessaly/platform/process.h"
#include "tessaly/text/dividers.h"
#include "tessaly/text/mail_text_check.h"
#include "tessaly/text/value_checks.h"

using enum storage::ErrorCode;

namespace customers {
namespace {

constexpr char const* own_name = "Tessaly５ /R.2";
constexpr unsigned pause_ms = 1000;
constexpr int preparing = 1, working = 0;
constexpr char const* code_characters = "1234567890-";

// Another thread may read the number meanwhile.
void Show(int* shared, int value) {
    if (shared) std::atomic_ref<int>(*shared).store(value, std::memory_order_relaxed);
}

// Digits alone, or single hyphens between them where those may stay.
bool IsFormatted(std::string_view text, bool with_hyphens) {
    for (std::size_t at = 0; at < text.size(); ++at) {
        bool const digit = text[at] >= '0' && text[at] <= '9';
        bool const between =
            with_hyphens && text[at] == '-' && at > 0 && at + 1 < text.size() && text[at + 1] != '-';
        if (!digit && !between) return false;
    }
    return true;
}

CString Formatted(char const* format, char const* text) {
    CString result;
    result.Format(format, text);
    return result;
}

}  // namespace

int ForeignImport::Stop(int result, CString const& reason, int code) {
    run_reason_ = reason;
    if (code != no_number) table_.GetErrMsg().SetErr(code);
    return result;
}

int ForeignImport::StopByTable(int result) {
    return Stop(result, table_.GetErrMsg().GetLastMsg(), no_number);
}

int ForeignImport::Run() {
    Show(call_.state, preparing);
    if (call_.message) *call_.message = Formatted(program_.start_message, own_name);
    if (!env_) return Stop(CDatabaseEdit::no_environment, {}, customer_environment_not_set);
    if (!option_) return Stop(CDatabaseEdit::no_system_option, {}, customer_system_option_not_set);
    if (call_.path.IsEmpty() || call_.log_path.IsEmpty() || LacksArgument() || !call_.imported ||
        !call_.errors)
        return Stop(program_.bad_argument, {});
    Show(call_.imported, 0);
    Show(call_.errors, 0);
    int result = OpenAheadOfLog();
    if (result == CDatabaseEdit::ok && !log_.Open(call_.log_path)) result = Stop(program_.no_log, {});
    if (log_.IsOpen()) {
        log_.WriteMoment("インポート開始日時");
        log_.Write(Formatted(program_.input_line, call_.path));
        result = Work();
    }
    Close();
    if (log_.IsOpen()) WriteEnding();
    return result;
}

int ForeignImport::Work() {
    if (int const problem = OpenBehindLog()) return problem;
    if (int const problem = run_.Prepare()) return StopByTable(problem);
    constexpr bool keep_rows = true;
    run_.Begin(keep_rows);
    if (call_.message) *call_.message = "インポートを開始します";
    platform::SleepMilliseconds(pause_ms);
    Show(call_.state, working);
    if (int const problem = ReadTitles()) return problem;
    int const problem = TakeLines();
    run_.End();
    if (problem != CDatabaseEdit::ok) return problem;
    complete_ = true;
    if (log_.HasRefused()) log_.Write("\n");
    return imported_;
}

int ForeignImport::TakeLines() {
    for (;;) {
        FieldSource::Got const got = source_.Next();
        if (got == FieldSource::Got::end) return CDatabaseEdit::ok;
        if (IsStopped()) return StopByUser();
        ++line_number_;
        if (got == FieldSource::Got::nothing) continue;
        if (int const problem = TakeLine()) return problem;
    }
}

int ForeignImport::TakeLine() {
    run_.StartLine();
    reason_.Empty();
    known_ = false;
    char const* const unreadable = source_.Unreadable();
    if (unreadable || !HasAllFields()) {
        reason_ = unreadable ? unreadable : "項目数が異なる";
        RefuseLine();
        return CDatabaseEdit::ok;
    }
    TakeAddress();
    SetDirectMail();
    std::size_t const fields = Fields().size();
    for (std::size_t i = 0; i < fields; ++i)
        if (int const column = ColumnOf(i); column >= 0) TakeField(i, FieldAt(column));
    if (!reason_.IsEmpty()) {
        RefuseLine();
        return CDatabaseEdit::ok;
    }
    if (known_ && LeavesAlone()) return CDatabaseEdit::ok;
    if (int const problem = run_.Store()) return StopByTable(problem);
    Show(call_.imported, ++imported_);
    return CDatabaseEdit::ok;
}

void ForeignImport::TakeAddress() {
    std::string_view const address = FieldAt(AddressColumn());
    if (address.empty())
        Refuse(AddressTitle(), "にメールアドレスが設定されていない、");
    else if (MailAddressChecker(CString(address)) != 1)
        Refuse(AddressTitle(), "に不正なメールアドレスが設定されている、");
    if (!reason_.IsEmpty()) return;
    run_.TakeAddress(address);
    run_.FindCustomer();
    known_ = run_.IsKnown();
}

void ForeignImport::TakeField(std::size_t field, std::string_view value) {
    Field const known = Fields()[field];
    char const* const title = TitleOf(field);
    switch (known.rule) {
        case Rule::text: return TakeText(title, known.element, value);
        case Rule::own: return TakeOwn(field, value);
        case Rule::postal_code:
        case Rule::number: break;
    }
    if (IsFormatted(value, known.rule == Rule::number)) return PutField(known.element, value);
    CString text(value), formatted;
    if (!text.IsEmpty() && CheckSpecialStringData(text, code_characters) != 1) return RefuseValue(title);
    if (known.rule == Rule::postal_code)
        table_.HyphenCut(&text, &formatted);
    else if (!text.IsEmpty())
        xc_format_codenumber(text, formatted);
    Put(known.element, formatted);
}

void ForeignImport::TakeText(char const* title, int element, std::string_view value) {
    if (text::IsPlainMailText(value)) return PutField(element, value);
    static CodeConvertStruct replacements[] = {{"㈱", "(株)"}, {"㈲", "(有)"}, {"㈹", "(代)"},
                                               {"\r", ""},     {"\n", ""},     {nullptr, nullptr}};
    CString text;
    CStringArray found;
    int kana = 0, machine = 0, broken = 0;
    xc_format_string4mail(CString(value), text, replacements);
    if (CheckMailBodyCharacterCode(text, kana, machine, broken, found) == 1) return Put(element, text);
    CString characters = "に機種依存文字「";
    for (CString const& character : found) characters += character;
    Refuse(title, characters + "」が含まれている、");
}

void ForeignImport::Put(int element, CString const& value) {
    values_[static_cast<std::size_t>(element)] = value;
    run_.Row().Assign(element, values_[static_cast<std::size_t>(element)].View());
}

void ForeignImport::Refuse(char const* title, char const* rest) {
    ((reason_ += "[") += title) += "]";
    reason_ += rest;
}

void ForeignImport::RefuseLine() {
    log_.WriteRefused(RefusedLine());
    Show(call_.errors, ++errors_);
}

bool ForeignImport::CellIs(int cell, int value) const {
    CString text;
    option_->GetSODataFromMemoryPinPoint(cell, text);
    return std::atoi(text) == value;
}

void ForeignImport::WriteEnding() {
    CString counts;
    log_.Write("○インポート終了ステータス\n");
    if (complete_) {
        counts.Format("インポートは%d件(及びデータエラー%d件)をインポートして、正常終了しました。\n\n",
                      imported_, errors_);
        log_.Write(counts);
    } else {
        counts.Format("%d件(及びデータエラー%d件)をインポートして、\n", imported_, errors_);
        log_.Write("インポートは");
        if (imported_ != 0 || errors_ != 0) log_.Write(counts);
        log_.Write("異常終了しました。\n理由[" + run_reason_ + "]\n\n");
    }
    log_.WriteMoment("インポート終了日時");
    log_.Close();
}

}  // namespace customers
