#pragma once

#include <cstddef>
#include <string>

#include "tessaly/platform/cstring.h"

// Passwords, and the texts made of them for a server, do not stay in memory.
namespace platform {

// Overwrites bytes by zeros; the compiler does not leave it out.
void WipeBytes(void* place, std::size_t size) noexcept;
// Overwrites the text and empties it. Other texts that share it keep it.
void Wipe(CString& secret);
void Wipe(std::string& secret);

}  // namespace platform
