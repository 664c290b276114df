#pragma once

#include <string>

namespace engine {

// One field of a CSV line (RFC 4180), quoted where it has to be.
std::string CsvField(std::string const& text);

}  // namespace engine
