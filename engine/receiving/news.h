#pragma once

#include <optional>
#include <string>

#include "engine/environment/session.h"

namespace engine {

// Date and time at which the information page was last changed; none where the page does not give them. The
// page is requested through the proxy of the settings, if there is one. The session is one for changing.
// Throws Failure.
std::optional<std::string> DateOfNews(Session& session);

}  // namespace engine
