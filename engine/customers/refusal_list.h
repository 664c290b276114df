#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "engine/consent/refusals.h"
#include "engine/consent/suspensions.h"
#include "engine/environment/session.h"

// The lists of refusals and of suspended addresses, changed by the user. The session is one for changing; the
// flags of customers follow the refusals. All throw Failure (invalid_address) for a text that is no address,
// and nothing is changed then.
namespace engine {

// Result: how many were not on the list before.
std::size_t AddRefusals(Session& session, std::vector<std::string> const& addresses, RefusedBy by,
                        std::string const& note);
// Those who are customers get DM送付可否 Y. Throws Failure: not_confirmed without a consent, invalid_value
// for an address that is not on the list.
void LiftRefusals(Session& session, std::vector<std::string> const& addresses, std::string const& consent);
// The addresses of a delimited file with a column of them, read as CsvImport reads it. Tells the front end
// which records hold none. Result as AddRefusals.
std::size_t ImportRefusals(Session& session, std::string const& file);

// Likewise.
std::size_t AddSuspensions(Session& session, std::vector<std::string> const& addresses,
                           std::string const& note);
void LiftSuspensions(Session& session, std::vector<std::string> const& addresses);

}  // namespace engine
