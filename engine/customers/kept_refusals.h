#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "engine/consent/refusals.h"
#include "engine/environment/session.h"

// Refusals stand by address in a list of their own (refusals.h), and as DM送付可否 N in the row of the
// customer. Whatever changes customers keeps the two together:
// - A customer whose address is on the list has N, whatever a file, a backup or the user puts there.
// - The address of every customer with N is on the list. So a flag that becomes N is a refusal; and the N of
// an
//   environment of an earlier version come to the list when its customers are first changed, by `import`.
// - Only a consent lifts a refusal: the row then keeps the Y that it was given.
namespace engine {

// For one change of the table. The session is one for changing or restoring.
class KeptRefusals {
  public:
    struct How {
        RefusedBy by = RefusedBy::user;  // of the refusals that the change makes
        std::string note{};
        std::string consent{};  // why refusers may get mail again whom the change gives Y; empty: none may
        bool deleted_return = true;  // false: whom the change makes live again is deleted again
    };
    // Before the change, which is one of `customers`. Puts right in memory what an earlier change left.
    // Throws Failure (damaged_file).
    KeptRefusals(Session& session, CDatabaseEdit& customers, How how);

    Refusals& List() { return refusals_; }
    // Behind the change, before the customers are saved: puts their rows in memory right and saves the list.
    // Result: whether it changed rows, now or at first. Throws Failure.
    bool Settle();
    // Tells the front end who stays refused, was lifted, or stays deleted.
    void Tell() const;
    std::size_t StillDeleted() const { return still_deleted_; }

  private:
    bool PutFlag(int customer, char const* flag);
    std::size_t KeepFlags();
    void LiftConsented();
    void ListRefusers(RefusedBy by, std::string const& note);
    void DeleteAgain();

    FrontEnd& front_;
    CDatabaseEdit& customers_;
    How const how_;
    Refusals refusals_;
    std::vector<OneCustomer> deleted_;  // before the change
    bool changed_ = false;              // rows in memory
    std::size_t kept_ = 0, lifted_ = 0, still_deleted_ = 0;
};

// For a single customer who is about to be stored: gives N where the address is on the list. Result: whether
// that changed the flag.
bool KeepRefusal(Refusals const& refusals, OneCustomer& customer);

// RestoreOver and UndoLastChange (environment_backup.h), after which those who refused still have N. A list
// or table that is not whole is left alone; nobody is mailed by it.
void RestoreKeepingRefusals(Session& session, Access const& access, std::string const& backup, bool yes);
void UndoKeepingRefusals(Session& session, bool force);

}  // namespace engine
