#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "engine/base/file_identity.h"
#include "engine/consent/event_file.h"
#include "engine/environment/session.h"

namespace engine {

// What a mail that came back, or a recipient whom the server refused for good, tells of the address.
enum class Bounce {
    hard,  // there is no such mailbox
    soft   // this mail could not be delivered
};

// Why nothing is sent to an address.
struct Suspension {
    enum class By { hard, soft, user };
    std::string address;  // UTF-8
    By by = By::user;
    int mail = -1;       // that bounced last; -1: none
    std::string note{};  // what the server said, or the user
    std::string time{};  // "2026/11/23 10:00:00"; empty: the present
};
// As the file has it ("hard"), and for display, in Japanese.
char const* KeyOf(Suspension::By by);
char const* WordOf(Suspension::By by);

// The addresses to which nothing is sent since mail to them came back. The settings suspend.hard,
// suspend.soft and suspend.days give the limits: an address is suspended when hard bounces, or soft ones
// within so many days, came of so many different mails; 0 is never. It is lifted when the customer gets
// another address, or by the user; bounces from before that do not count any more. Stands in
// CONSENT/suspended.tsv, and has no part in undo and restore.
//
// A look-up takes constant time. One object reads the file once; whoever changes the list holds the
// environment's lock from before that until Save. Addresses compare by their keys (refusals.h).
class Suspensions {
  public:
    // Throws Failure (damaged_file) for a file that is not whole.
    explicit Suspensions(Session& session);

    bool Contains(std::string_view key) const { return Find(key) != nullptr; }
    Suspension const* Find(std::string_view key) const;
    std::size_t Size() const { return suspended_; }
    template <class Visit>
    void ForEach(Visit visit) const {
        for (auto const& [key, entry] : entries_)
            if (entry.suspension) visit(*entry.suspension);
    }
    // By time.
    std::vector<Suspension> All() const;

    // What follows counts when Save returns.
    //
    // Counts a bounce of a mail (-1: of a draft) at a time ("2026/11/23 10:00:00"), once for each mail.
    // Result: whether the address is suspended now. `text`: what the server said. Needs the settings.
    bool CountBounce(std::string_view address, int mail, Bounce bounce, std::string const& time,
                     std::string const& text = {});
    // false, and nothing changes, where the address is on the list.
    bool Add(Suspension suspension);
    // Also forgets what was counted. false where the address is not on the list.
    bool Lift(std::string_view address);
    // Writes the file if the list has changed, without soft bounces that are too old to count. Durable when
    // it returns. Throws Failure (not_written).
    void Save();

    FileIdentity const& Identity() const { return identity_; }

  private:
    struct Counted {
        Bounce bounce;
        int mail;
        std::string time;
    };
    struct Entry {
        std::string address;
        std::optional<Suspension> suspension;
        std::vector<Counted> bounces;
        std::string lifted;  // when; empty: never
    };
    struct Hash : std::hash<std::string_view> {
        using is_transparent = void;
    };

    bool Take(EventFile::Cells const& cells);
    Entry& EntryOf(std::string_view address);
    void Suspend(Entry& entry, Suspension suspension);
    bool IsEnough(Entry const& entry, Bounce bounce);
    std::string DaysBefore(std::string const& time) const;

    Session& session_;
    EventFile file_;
    std::unordered_map<std::string, Entry, Hash, std::equal_to<>> entries_;
    std::size_t suspended_ = 0;
    bool changed_ = false;
    FileIdentity identity_;
};

EventFile SuspensionsFile(std::string const& data_directory);

}  // namespace engine
