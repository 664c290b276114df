#pragma once

class CErrMsg;

namespace storage {

// Ends a constructor that cannot bind or read its arguments: the text of `error` is shown in a message box
// (with a stop icon where there is a `title`), and CUserException is raised. The last form sets the error
// number first.
[[noreturn]] void FailConstruction(CErrMsg const& error);
[[noreturn]] void FailConstruction(CErrMsg const& error, char const* title);
[[noreturn]] void FailConstruction(CErrMsg& error, int code);

}  // namespace storage
