#pragma once

#include <functional>
#include <map>
#include <string>

#include "engine/sending/journal_file.h"

namespace engine {

// An attempt of which it is not known whether the server took the mail.
struct UnknownAttempt {
    static constexpr int no_number = -1;

    int number = no_number;  // as the history's retry number: 0 for the first
    CString message_id{};    // without angle brackets
    CString time{};          // "2026/11/23 10:00:00"
    std::string reason{};    // UTF-8, on one line; empty where the run was killed
};

// Gets each outcome but the unknown ones, in their order: the record, the Message-ID with which the mail was
// sent (empty where none was), and whether the history file has the outcome already.
using OnOutcome =
    std::function<void(JournalRecord const& outcome, CString const& message_id, bool in_history)>;

// Goes through the records of a journal that lies at `here` now. Result: the recipients of whom it is not
// known whether a server took the mail. An attempt whose intent was lost has no number.
std::map<int, UnknownAttempt> Replay(JournalContent& journal, RunPlace const& here,
                                     OnOutcome const& on_outcome);

}  // namespace engine
