#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "engine/sending/journal_file.h"

namespace engine {

// The journal of one run. The intents of its mails are written in groups, by a thread of its own, ahead of
// those that send, and a mail is given out when its intent is durable; starts and outcomes follow without
// waiting for the disk. With each group the disk's space is taken for all that its mails can add, so that a
// full disk ends the run before a mail is sent whose outcome could not be written.
class SendJournal {
  public:
    // The intent of the mail at a place of the mailing.
    using Intent = std::function<JournalRecord(std::size_t place)>;

    // Begins a new journal with these records, and with a run behind them. Throws Failure (not_written).
    SendJournal(std::string const& path, std::vector<JournalRecord> kept);
    ~SendJournal();
    SendJournal(SendJournal const&) = delete;
    SendJournal& operator=(SendJournal const&) = delete;

    // Once: begins to write the intents of so many mails. `intent` is called in the thread of the groups.
    void Expect(std::size_t mails, Intent intent);
    // Waits until the intent of that mail is durable. Result: its Message-ID. Once for each place. Throws
    // Failure (not_written).
    CString Take(std::size_t place);
    // A start, outcome or none. Throws Failure (not_written).
    void Add(JournalRecord const& record);

  private:
    void WriteGroups();
    void WriteGroup(std::size_t from, std::size_t to);

    JournalFile file_;
    Intent intent_;
    std::mutex lock_;
    std::condition_variable wanted_, ready_;
    std::size_t mails_ = 0, durable_ = 0, taken_ = 0, finished_ = 0;
    std::unordered_map<std::size_t, CString> message_ids_;  // of those that are durable and not taken
    std::string trouble_;                                   // why no more intents can be written
    bool stop_ = false;
    std::thread writer_;
};

}  // namespace engine
