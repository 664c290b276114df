#pragma once

#include <vector>

#include "engine/environment/session.h"
#include "tessaly/delivery.h"

namespace engine {

inline constexpr char const* testers_file = "DB/testmailinginfo.dat";

// Binds `testers` and reads the test customers; a file that is not there is made. Throws Failure.
void LoadTesters(Session& session, CTestMailingInfo& testers);
// The test customers of an environment, in the order of their keys; CustomerID is the key. Throws Failure.
std::vector<OneCustomer> Testers(Session& session);

}  // namespace engine
