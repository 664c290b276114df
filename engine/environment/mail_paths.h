#pragma once

#include <string>
#include <string_view>

namespace engine {

// A path below the data directory: MailFile(3, "meli") is "MAIL/3/meli3.dat".
std::string MailFile(int id, std::string_view kind);
std::string MailFolder(int id);

}  // namespace engine
