#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "engine/environment/session.h"
#include "engine/targets/target_choice.h"

// Groups: conditions and recipients of a mail that are kept under a name, for other mails. All texts UTF-8;
// every operation throws Failure, and what changes then leaves all as it was. The session of one that changes
// is one for changing; a deleted mail is refused.
namespace engine {

struct Group {
    int id;
    std::string name;
};

// A group is given by its number or its name. Names stand for one group only, among those in use.
struct SavedGroup {
    Group group;
    std::size_t recipients;
};
SavedGroup SaveGroup(Session& session, int mail, std::string const& name);
Group RenameGroup(Session& session, std::string const& group, std::string const& name);
Group DeleteGroup(Session& session, std::string const& group);
Group RestoreGroup(Session& session, std::string const& group);

// Copies the conditions of a group to a mail, with the stored recipients, or with those that the conditions
// choose from the present customers; in either case without those to whom nothing is sent because of their
// address.
enum class Apply { stored, anew };
Choice ApplyGroup(Session& session, std::string const& group, int mail, Apply apply);

enum class GroupState { live, deleted };
struct GroupSummary {
    Group group;
    std::string saved;                      // a date text
    std::optional<std::size_t> recipients;  // of a damaged file none, as the conditions
    std::optional<std::string> conditions;
};
std::vector<GroupSummary> ListGroups(Session& session, GroupState state);

}  // namespace engine
