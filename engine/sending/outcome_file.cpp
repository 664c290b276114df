#include "engine/sending/outcome_file.h"

#include <algorithm>
#include <filesystem>
#include <string_view>

#include "engine/base/crossing.h"
#include "engine/base/csv_field.h"
#include "engine/base/failure.h"
#include "engine/base/whole_number.h"

namespace engine {
namespace {

std::string const title_line =
    std::string(byte_order_mark) + "個人情報ID,メールアドレス,結果,応答,Message-ID\r\n";

constexpr auto between_syncs = std::chrono::milliseconds(500);

// The third field of a row by its outcome: a part of the file's form, which later runs read back.
constexpr char const* outcomes_in_files[] = {"送信", "拒否", "失敗", "不明"};

char const* InFile(Outcome outcome) { return outcomes_in_files[static_cast<std::size_t>(outcome)]; }

// One who may have the mail is not mailed again.
bool IsSettled(std::string_view outcome) {
    return outcome == InFile(Outcome::sent) || outcome == InFile(Outcome::refused) ||
           outcome == InFile(Outcome::unknown);
}

// The third field of a row, whose first two hold no comma or quote.
std::string_view OutcomeOf(std::string_view row) {
    for (int i = 0; i < 2; ++i) row.remove_prefix(std::min(row.find(',') + 1, row.size()));
    return row.substr(0, row.find(','));
}

}  // namespace

OutcomeFile::OutcomeFile(std::string const& file, bool resume) {
    bool const there = std::filesystem::exists(file);
    if (there && !resume)
        throw Failure(Failure::file_exists, "レポートのファイルがもうあります: " + file +
                                                "\n途中で止まった送信の続きなら --resume をつけてください。");
    std::size_t const whole = there ? ReadEarlier(file) : 0;
    file_.emplace(file, "レポート", OutputFile::Begin::at_end);
    if (file_->IsRegular()) file_->Cut(whole);
    if (whole == 0) file_->Write(title_line);
    file_->Sync();
}

std::size_t OutcomeFile::ReadEarlier(std::string const& file) {
    std::string const content = ReadWholeFile(file, "レポート");
    if (content.size() < title_line.size() && title_line.starts_with(content)) return 0;
    if (!content.starts_with(title_line))
        throw Failure(Failure::unsuitable_file, "tessaly のレポートではありません: " + file);
    std::size_t const whole = content.rfind('\n') + 1;  // a row that was cut off does not count
    for (std::size_t at = title_line.size(); at < whole;) {
        std::size_t const end = content.find('\n', at);
        std::string_view const row(content.data() + at, end - at);
        std::string_view const outcome = OutcomeOf(row);
        auto const id = LeadingNumber(row);
        if (id && IsSettled(outcome)) settled_.insert(*id);
        at = end + 1;
    }
    return whole;
}

void OutcomeFile::Add(Delivery const& delivery) {
    file_->Write(std::to_string(delivery.id) + "," + CsvField(Out(delivery.address)) + "," +
                 InFile(delivery.outcome) + "," + CsvField(delivery.reply) + "," + Out(delivery.message_id) +
                 "\r\n");
    if (Clock::now() < next_sync_) return;
    file_->Sync();
    next_sync_ = Clock::now() + between_syncs;
}

void OutcomeFile::End() { file_->Sync(); }

}  // namespace engine
