#pragma once

#include <optional>
#include <vector>

#include "engine/environment/session.h"

namespace engine {

// Keeps a stored mail as it is, for the run that sends it and for an operation that changes it.
class MailLock {
  public:
    enum class For { sending, changing };
    // For sending it waits a few seconds for a change to end. A mail that a run is sending is not changed:
    // for changing it throws Failure (environment_busy) at once, naming the mail. The session is then one for
    // changing.
    MailLock(Session& session, int mail, For use);

  private:
    std::optional<FolderLock> lock_;  // none: the mail has no folder
};

// For changing all of these.
std::vector<MailLock> LockToChange(Session& session, std::vector<int> const& mails);

}  // namespace engine
