#pragma once

#include <string>

#include "engine/environment/session.h"

namespace engine {

// The source of received mail, and whether mails stay there.
struct ReceiveRequest {
    std::string pop;             // "HOST:PORT" in place of the server of the settings
    std::string from_dir, mbox;  // a folder of mails, or an mbox file, in place of a server
    bool keep = false;           // mails stay on the server
    bool remove = false;         // mails are removed from the server once their effects are saved
    bool dry_run = false;        // tells the effects without applying them

    // Takes every mail once and applies its effect. The effects are saved first, then the IDs of the mails,
    // and only then are mails removed from the server. Tells the front end each effect and the totals. Throws
    // Failure; the same request can then be made again.
    void Run(Access const& access, std::string const& env_file) const;
};

}  // namespace engine
