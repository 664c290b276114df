#pragma once

#include <functional>
#include <string>

#include "engine/environment/session.h"

namespace engine {

// Writes customers, mails, histories, received mail and settings into one file outside the environment, which
// only its owner can read, and reads it back. Mails may be sent meanwhile; the history of such a mail is one
// of a moment. An existing file is an error unless `overwrite`, and is replaced in one step. Throws Failure,
// and an existing file is then as it was.
void BackUpEnvironment(Session& session, std::string const& file, bool overwrite);

// Whether a file is such a backup, by its first bytes; it may be damaged further on. Throws Failure
// (file_not_found).
bool IsBackupOfEnvironment(std::string const& file);

// Makes a new environment of a backup. It opens with the key and password of the one that was backed up.
// Throws Failure, and nothing is then left behind.
void RestoreIntoNew(Access const& access, std::string const& env_file, std::string const& backup);

// Puts an environment into the state of a backup of its own, as a change that can be undone (PutInPlace);
// asks first, unless `yes`. The session is one for restoring. Throws Failure, and nothing is then changed.
// `customers_in_place`: see NewState.
void RestoreOver(Session& session, Access const& access, std::string const& backup, bool yes,
                 std::function<void()> const& customers_in_place);

// Undoes the last change whose copies are kept. Throws Failure: not_confirmed when a file was changed since,
// unless `force`; damaged_file when a copy is not whole. The session is one for restoring.
void UndoLastChange(Session& session, bool force, std::function<void()> const& customers_in_place);

}  // namespace engine
