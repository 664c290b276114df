#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "engine/environment/session.h"

// The lists of refusals and of suspended addresses: their state, and their repair.
namespace engine {

struct ListState {
    std::string path;  // below the data directory
    std::string name;  // for the sender
    bool whole = true, record_damaged = false;
    std::size_t events = 0, lost = 0;  // readable; missing, as far as that is known

    bool IsGood() const { return whole && !record_damaged; }
};
// Of those that were ever written.
std::vector<ListState> StateOfLists(Session& session);
std::string DescribeList(ListState const& list);

// Makes a list of its readable lines, united with those of a backup of the environment (host path; empty:
// none). The damaged file is kept as NAME.damagedN. Tells the front end what it did. Throws Failure.
void RepairList(Session& session, ListState const& list, std::string const& backup);
// Puts the address of every customer with DM送付可否 N on the list of refusals: what was lost of it comes
// back so far. The customers are whole. Throws Failure.
void ListRefusersAgain(Session& session);

}  // namespace engine
