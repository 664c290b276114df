#pragma once

#include <string>

#include "engine/environment/access.h"

namespace engine {

struct RepairRequest {
    std::string backup;  // of the environment or of its customers, host path; empty: none
    bool yes = false;    // without a question
};

// Makes every table of an environment one that can be read and written:
// - The file of a damaged one is kept as NAME.damagedN. Its readable rows, also those behind the damage,
//   become the new file; lost customers, mails, groups, testers, texts, conditions and settings are taken
//   from the backup.
// - A table that reads to its end but is not as recorded is accepted: it gets a new record.
// - Recipients who may have a mail whose history or journal was damaged become unknown before the history
//   can be used again.
// - A list of refusals or of suspended addresses is made of its readable lines and those of the backup; the
//   addresses of all customers with DM送付可否 N come to the refusals.
// - A sequence that would give out a number a second time is moved.
// Asks before it changes anything, and tells what is lost. Throws Failure: `declined`; `damaged_file` when
// something is left that it cannot repair.
void RepairEnvironment(Access const& access, std::string const& env_file, RepairRequest const& request);

}  // namespace engine
