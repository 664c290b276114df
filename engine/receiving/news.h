#pragma once

#include <optional>
#include <string>

#include "engine/environment/session.h"

namespace engine {

// Date and time at which the information page was last changed; none for a page that does not tell. The page
// is asked for through the proxy of the settings, if there is one. The session is one for changing. Throws
// Failure.
std::optional<std::string> DateOfNews(Session& session);

}  // namespace engine
