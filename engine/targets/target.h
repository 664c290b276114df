#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "engine/environment/session.h"

// The target of a mail or of a saved group: its conditions, and the IDs of its recipients.
namespace engine {

// Whose conditions and recipients.
struct TargetOwner {
    enum Kind { mail, group };
    Kind kind;
    int id;
    // Paths below the data directory.
    std::string ConditionsFile() const;
    std::string RecipientsFile() const;
};

// The recipients of a mail in the order of its list. A list that is missing or empty has no recipients. All
// throw Failure for a damaged file.
std::vector<int> RecipientsOf(Session& session, int mail);
int RecipientCount(Session& session, int mail);

// No conditions and no recipients, for a new mail.
void MakeEmptyTarget(Session& session, int mail);
void CopyConditions(Session& session, int from_mail, int to_mail);

// A set of 15 empty slots, and the stored one of an owner. `set` is a new object.
void MakeEmptyConditions(Session& session, ExtractAction& set);
void LoadConditions(Session& session, TargetOwner owner, ExtractAction& set);
void SaveConditions(Session& session, TargetOwner owner, ExtractAction& set);

// `list` is a new object; afterwards it is bound and belongs to its owner.
void LoadRecipients(Session& session, TargetOwner owner, ExtractResultDetail& list);
void MakeEmptyRecipients(ExtractResultDetail& list);
void SaveRecipients(Session& session, TargetOwner owner, ExtractResultDetail& list);
std::vector<int> IdsOf(ExtractResultDetail const& list);
// Removes those to whom nothing is sent because of their address, and tells their number.
void DropStopped(Session& session, ExtractResultDetail& list);

// The customers who meet all conditions of at least one tab, or all customers without conditions, without
// those who accept no direct mail, by ID, and without those to whom nothing is sent because of their address
// (mail_stops.h), whose number is told. Loads the customers. `list` is a new object, and then that of the
// mail.
void ChooseRecipients(Session& session, int mail, ExtractAction& set, ExtractResultDetail& list);

// Both of a mail at once, with the present as the time of the choice. The session is one for changing.
void StoreTarget(Session& session, int mail, ExtractAction& set, ExtractResultDetail& list);

// How many were chosen, of how many customers who are not deleted.
struct Choice {
    std::size_t recipients, customers;
};
Choice ChoiceOf(Session& session, ExtractResultDetail const& list);

// What a list holds of each recipient, of the first `limit` (0: all). Erased customers are removed from the
// stored list; those who are not in the customer table are passed over and counted in `unknown`.
std::vector<ERDetailPlusDB> EntriesOf(Session& session, int mail, int limit, ExtractResultDetail& list,
                                      int& unknown);

}  // namespace engine
