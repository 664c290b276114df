#pragma once

#include <stdexcept>

namespace postbox {

// Why the post box cannot work. The text is for the sender: Japanese, UTF-8.
class Error : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace postbox
