#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "engine/environment/session.h"
#include "engine/receiving/answer_kind.h"

// What an environment keeps of received mail, in its folder INBOX: the mails that the sender is to read, one
// .eml file each, as received; the IDs of all mails that were seen; and a record of their effects.
namespace engine {

struct KeptMail {
    int number;
    std::filesystem::path file;
};

// What was made of a received mail.
struct Effect {
    std::string time{};  // "2026/11/23 10:00:00"
    AnswerKind kind = AnswerKind::other;
    int mail = -1, customer = -1;
    std::string from{}, text{};  // UTF-8, each on one line
    int kept = 0;                // the number of the kept mail; 0: it is not kept
};

class Inbox {
  public:
    explicit Inbox(std::string const& data_directory);

    bool Seen(std::string const& id) const { return seen_.contains(id); }
    // Each is on the disk when Save returns.
    void Remember(std::string const& id);
    void Record(Effect const& effect);
    // Writes the mail at once, unless it is kept already. Result: its number. Throws Failure.
    int Keep(std::string_view text);
    // Throws Failure.
    void Save();

    // By number.
    std::vector<KeptMail> Kept() const;

  private:
    void Append(std::string const& name, std::string& text) const;

    std::filesystem::path folder_;
    std::unordered_set<std::string> seen_;
    std::unordered_map<std::string, int> kept_;  // the numbers of kept mails by their digests
    std::string new_seen_, actions_;
    int next_ = 1;
    std::optional<std::uintmax_t> known_effects_;  // bytes of the record of effects
};

// Of how many customers answers of a kind came to each mail, by the record of effects.
using AnswerCounts = std::map<int, std::map<AnswerKind, int>>;
AnswerCounts CountAnswers(std::string const& data_directory);
// The last effect of each kept mail, by its number. None of those that earlier versions kept.
std::map<int, Effect> EffectsOfKept(std::string const& data_directory);

}  // namespace engine
