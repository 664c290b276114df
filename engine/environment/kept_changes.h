#pragma once

#include <string>
#include <vector>

#include "engine/environment/session.h"

// The copies that the last changes of an environment left to be undone (SafeChange): UNDO/<n> in the data
// directory, n in the order of the changes. The caller holds the environment's lock.
namespace engine {

inline constexpr std::size_t most_kept_changes = 10;

struct KeptChange {
    int number = 0;
    std::string what, when;  // empty where the list cannot be read
    std::string folder;      // host path
};

// Saves the customers as a change that can be undone; `what` is a sentence for the user. Throws Failure.
void SaveCustomersUndoably(Session& session, std::string const& what);

// Oldest first.
std::vector<KeptChange> KeptChanges(std::string const& data_directory);
// A path for the copies of the next change, below a folder that is there. Throws Failure.
std::string PlaceForCopies(std::string const& data_directory);
// Removes the copies of all but the last changes. Throws Failure.
void DropOldCopies(std::string const& data_directory);
// Removes the copies of one change, in one step. Throws Failure.
void DropCopies(KeptChange const& change);
// Removes all of them. Result: how many. Throws Failure.
std::size_t ForgetKeptChanges(std::string const& data_directory);

}  // namespace engine
