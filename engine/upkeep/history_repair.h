#pragma once

#include <set>

#include "engine/upkeep/environment_check.h"

namespace engine {

// Makes those recipients of a mail unknown who may have it although its history or journal, which are not
// whole, do not say so: recipients without a row, or without a letter that can be trusted. Where more rows
// are lost than the mail has such recipients, or its recipients are not whole either, every customer without
// a row counts. They stand in the journal when it returns. Result: their IDs. Throws Failure.
std::set<int> MakeLostRecipientsUnknown(Session& session, EnvironmentState const& state, int mail);

}  // namespace engine
