#include "engine/sending/outcome_file.h"

#include <filesystem>
#include <iterator>
#include <string_view>

#include "engine/base/crossing.h"
#include "engine/base/csv_field.h"
#include "engine/base/failure.h"
#include "engine/base/whole_number.h"

namespace engine {
namespace {

std::string const title_line =
    std::string(byte_order_mark) + "個人情報ID,メールアドレス,結果,応答,Message-ID\r\n";

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

OutcomeFile::OutcomeFile(std::string const& file, bool resume) : name_(file) {
    bool const there = std::filesystem::exists(file);
    if (there && !resume)
        throw Failure(Failure::file_exists, "レポートのファイルがもうあります: " + file +
                                                "\n途中で止まった送信の続きなら --resume をつけてください。");
    bool const begun = there && ReadEarlier(file);
    file_.open(file, std::ios::binary | std::ios::app);
    if (!begun) file_ << title_line << std::flush;
    if (!file_) throw Failure(Failure::not_written, "レポートを書けません: " + file);
}

bool OutcomeFile::ReadEarlier(std::string const& file) {
    std::ifstream earlier(file, std::ios::binary);
    std::string const content{std::istreambuf_iterator<char>(earlier), {}};
    if (content.size() < title_line.size() && title_line.starts_with(content)) {
        std::filesystem::resize_file(file, 0);
        return false;
    }
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
    if (whole < content.size()) std::filesystem::resize_file(file, whole);
    return true;
}

void OutcomeFile::Add(Delivery const& delivery) {
    file_ << delivery.id << "," << CsvField(Out(delivery.address)) << "," << InFile(delivery.outcome) << ","
          << CsvField(delivery.reply) << "," << Out(delivery.message_id) << "\r\n"
          << std::flush;
    if (!file_) throw Failure(Failure::not_written, "レポートを書けませんでした: " + name_);
}

}  // namespace engine
