#pragma once

#include <string>
#include <string_view>

#include "engine/base/front_end.h"

namespace engine {

// How an environment is opened.
struct Access {
    std::string key_file;       // empty: the built-in application key
    std::string password_file;  // empty: the front end asks for the password
    FrontEnd* front = nullptr;  // null: one that shows nothing
};

// Its front end, or one that shows nothing.
FrontEnd& FrontOf(Access const& access);
// The application key: the built-in one, or the first line of a file.
std::string ApplicationKey(Access const& access);
// The directory of an environment's data, beside its file.
std::string DataDirectoryOf(std::string const& env_file);
// The first line of a file; throws Failure naming `what`.
std::string FirstLineOf(std::string const& host_path, std::string_view what);

}  // namespace engine
