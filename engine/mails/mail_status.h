#pragma once

#include <string>

#include "tessaly/storage.h"

namespace engine {

// What the application makes of the statuses of a mail: the letters in the list of mails.
inline constexpr char const* status_draft = "D";
inline constexpr char const* status_sending = "I";      // being sent, or the run was killed
inline constexpr char const* status_waiting = "W";      // some recipients are still to get it
inline constexpr char const* status_complete = "C";     // every recipient got it
inline constexpr char const* status_with_errors = "E";  // some were given up
inline constexpr char const* status_deleted = "S";

// In UTF-8, for reading.
std::string StatusName(CString const& letter);

}  // namespace engine
