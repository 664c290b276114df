#pragma once

#include <string>
#include <vector>

#include "platform/dialog.h"

// Takes the library's message boxes while it lives, and answers each with OK.
class MessageBoxes {
  public:
    MessageBoxes() { SetMessageBoxHandler(Take, this); }
    ~MessageBoxes() { SetMessageBoxHandler(nullptr, nullptr); }
    MessageBoxes(MessageBoxes const&) = delete;
    MessageBoxes& operator=(MessageBoxes const&) = delete;
    std::vector<std::string> const& Texts() const { return texts_; }

  private:
    static int Take(void* self, char const* text, char const*, unsigned) {
        static_cast<MessageBoxes*>(self)->texts_.emplace_back(text);
        return IDOK;
    }
    std::vector<std::string> texts_;
};
