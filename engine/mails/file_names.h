#pragma once

#include <set>
#include <string>
#include <string_view>

namespace engine {

// Names under which files from elsewhere can be attached to one mail, each once.
class FileNames {
  public:
    // `given` with what no file name may hold replaced by "_" and characters without a form in code page 932
    // by 〓, an extension where one of the type is missing, cut to what the disk takes with its extension
    // kept, and with a number where another file has the name. One of the type and `number` for an empty one.
    std::string Take(std::string_view given, std::string_view type, std::size_t number);

  private:
    std::set<std::string> taken_;
};

}  // namespace engine
