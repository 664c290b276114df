#pragma once

#include <string>

#include "engine/environment/session.h"

namespace engine {

// Writes the customers, the deleted ones too, into a file outside the environment. An existing file is an
// error unless `overwrite`. Tells the front end their number. Throws Failure, and an existing file is then as
// it was.
void BackUpCustomers(Session& session, std::string const& file, bool overwrite);
// Restores from such a file the customers who are missing in the table, and writes a list of the restored and
// of the omitted IDs beside it. A customer table that cannot be read counts as empty, and a copy of it is
// kept. The session is one for changing. Throws Failure, and nothing is then restored.
void RestoreCustomers(Session& session, std::string const& given);

}  // namespace engine
