#pragma once

#include <string>

#include "engine/environment/session.h"

namespace engine {

// Writes the customers, the deleted ones too, into a file outside the environment. An existing file is an
// error unless `overwrite`. Tells the front end how many. Throws Failure, and an existing file is then as it
// was.
void BackUpCustomers(Session& session, std::string const& file, bool overwrite);
// Brings back the customers of such a file who are not there any more, and writes beside it whose data were
// restored and whose were left out. A customer table that cannot be read counts as empty, and a copy of it
// stays. The session is one for changing. Throws Failure, and nothing is then restored.
void RestoreCustomers(Session& session, std::string const& given);

}  // namespace engine
