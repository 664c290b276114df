#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "engine/base/file_identity.h"
#include "engine/consent/event_file.h"
#include "engine/environment/session.h"

namespace engine {

// How a refusal came.
enum class RefusedBy {
    mail,              // a mail that asks for it
    list_unsubscribe,  // the mail of the List-Unsubscribe field (RFC 2369)
    user,              // by the sender's own hand
    import,            // a file of customers, or an environment of an earlier version
    complaint          // a report of abuse (RFC 5965)
};
// As the file has it ("list-unsubscribe"), and for display, in Japanese.
char const* KeyOf(RefusedBy how);
char const* WordOf(RefusedBy how);

struct Refusal {
    std::string address;  // UTF-8
    RefusedBy how = RefusedBy::user;
    int mail = -1;       // of which it was an answer; -1: none
    std::string note{};  // UTF-8
    std::string time{};  // "2026/11/23 10:00:00"; empty: the present
};

// What became of an address in the course of time.
struct RefusalEvent {
    Refusal refusal;
    bool lifted = false;  // by the consent that is the note
};

// An address in the form in which addresses are compared: without regard to the case of ASCII letters.
std::string AddressKey(std::string_view address);
std::string AddressKey(CString const& address);

// The addresses of those who refused to get mail, whatever customers there are. An address leaves the list by
// an explicit consent alone, and its history stays in the file, CONSENT/refusals.tsv. The list has no part in
// undo and restore: what it says now counts.
//
// A look-up takes constant time. One object reads the file once; whoever changes the list holds the
// environment's lock from before that until Save.
class Refusals {
  public:
    // Throws Failure (damaged_file) for a file that is not whole.
    explicit Refusals(Session& session);

    bool Contains(std::string_view key) const { return Find(key) != nullptr; }
    // Of an address in force, by its key; null for none.
    Refusal const* Find(std::string_view key) const;
    std::size_t Size() const { return in_force_; }
    // Calls `visit` with each refusal in force.
    template <class Visit>
    void ForEach(Visit visit) const {
        for (auto const& [key, entry] : entries_)
            if (entry.in_force) visit(entry.refusal);
    }
    // In the order in which they came.
    std::vector<Refusal> All() const;
    // With what was lifted.
    std::vector<RefusalEvent> History() const;

    // Both count when Save returns.
    //
    // false, and nothing changes, where the address is on the list.
    bool Add(Refusal refusal);
    // `consent`: why the address may get mail again; not empty. false where the address is not on the list.
    bool Lift(std::string_view address, std::string const& consent);
    // Writes the file if the list has changed. Durable when it returns. Throws Failure (not_written).
    void Save();

    // The file as it stood when the list was read or saved.
    FileIdentity const& Identity() const { return identity_; }

  private:
    struct Entry {
        Refusal refusal;
        bool in_force = false;
        std::size_t place = 0;
    };
    struct Hash : std::hash<std::string_view> {
        using is_transparent = void;
    };

    void Take(RefusalEvent event);
    void Append(RefusalEvent event);

    EventFile file_;
    std::unordered_map<std::string, Entry, Hash, std::equal_to<>> entries_;
    std::size_t in_force_ = 0, events_ = 0;
    bool changed_ = false;
    FileIdentity identity_;
};

// The file of an environment's refusals, by its data directory, and its events. None for the cells of a line
// that this version does not know.
EventFile RefusalsFile(std::string const& data_directory);
std::optional<RefusalEvent> RefusalFrom(EventFile::Cells const& cells);

}  // namespace engine
