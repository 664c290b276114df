#pragma once

#include <string>

#include "engine/environment/session.h"

namespace engine {

// Received mail, from the mailbox of the settings or from elsewhere, and what becomes of it there.
struct ReceiveRequest {
    std::string pop;             // "HOST:PORT" in place of the server of the settings
    std::string from_dir, mbox;  // a folder of mails, or an mbox file, in place of a server
    bool keep = false;           // mails stay on the server
    bool remove = false;         // mails go from the server once what they say has been done
    bool dry_run = false;        // only tells what would be done

    // Takes every mail once and does what follows from it: first the effects reach the disk, then that the
    // mails were seen, and only then does the server lose them. Tells the front end each effect and the
    // totals. Throws Failure; the same request goes on then.
    void Receive(Access const& access, std::string const& env_file) const;
};

}  // namespace engine
