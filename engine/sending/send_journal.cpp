#include "engine/sending/send_journal.h"

#include <algorithm>
#include <utility>

#include "engine/base/date_text.h"
#include "engine/base/failure.h"
#include "engine/base/whole_file.h"

namespace engine {
namespace {

using Kind = JournalRecord::Kind;

// How many intents are ahead of the mails that are taken, at most, and how many are made durable together, at
// least.
constexpr std::size_t window = 96, least_group = 32;
// What a mail whose intent is written can still add: a start and an outcome.
constexpr std::size_t most_of_mail = 128 + JournalForm::largest_text + 160;

std::vector<JournalRecord> WithRun(std::string const& path, std::vector<JournalRecord> records) {
    JournalRecord run{.kind = Kind::run, .time = NowText()};
    run.place = PlaceOf(FolderOf(path));
    records.push_back(run);
    return records;
}

}  // namespace

SendJournal::SendJournal(std::string const& path, std::vector<JournalRecord> kept)
    : file_(path, WithRun(path, std::move(kept))) {}

SendJournal::~SendJournal() {
    {
        std::lock_guard guard(lock_);
        stop_ = true;
    }
    wanted_.notify_all();
    if (writer_.joinable()) writer_.join();
}

void SendJournal::Expect(std::size_t mails, Intent intent) {
    mails_ = mails;
    intent_ = std::move(intent);
    writer_ = std::thread([this] { WriteGroups(); });
}

void SendJournal::WriteGroups() {
    std::unique_lock lock(lock_);
    while (durable_ < mails_) {
        wanted_.wait(lock, [this] { return stop_ || durable_ + least_group <= taken_ + window; });
        if (stop_) return;
        std::size_t const from = durable_, to = std::min(mails_, taken_ + window);
        lock.unlock();
        std::string trouble;
        try {
            WriteGroup(from, to);
        } catch (std::exception const& failure) {
            trouble = failure.what();
        }
        lock.lock();
        trouble_ = trouble;
        if (trouble.empty()) durable_ = to;
        ready_.notify_all();
        if (!trouble.empty()) return;
    }
}

void SendJournal::WriteGroup(std::size_t from, std::size_t to) {
    std::vector<JournalRecord> records{{.kind = Kind::group, .durable = file_.Durable()}};
    std::size_t bytes = 0;
    for (std::size_t place = from; place < to; ++place) {
        records.push_back(intent_(place));
        bytes += static_cast<std::size_t>(records.back().message_id.GetLength());
    }
    std::size_t unfinished = 0;
    {
        std::lock_guard guard(lock_);
        unfinished = to - finished_;
        for (std::size_t place = from; place < to; ++place)
            message_ids_[place] = records[place - from + 1].message_id;
    }
    constexpr std::size_t intent_without_id = 64;
    file_.Reserve(bytes + records.size() * intent_without_id + unfinished * most_of_mail);
    file_.Add(records);
    file_.Sync();
}

CString SendJournal::Take(std::size_t place) {
    std::unique_lock lock(lock_);
    ready_.wait(lock, [&] { return place < durable_ || !trouble_.empty(); });
    if (place >= durable_) throw Failure(Failure::not_written, trouble_);
    auto const found = message_ids_.find(place);
    CString message_id = std::move(found->second);
    message_ids_.erase(found);
    ++taken_;
    if (durable_ < mails_ && durable_ + least_group <= taken_ + window) wanted_.notify_one();
    return message_id;
}

void SendJournal::Add(JournalRecord const& record) {
    file_.Add(record);
    if (record.kind == Kind::start) return;
    std::lock_guard guard(lock_);
    ++finished_;
}

}  // namespace engine
