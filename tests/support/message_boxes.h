#pragma once

#include <string>
#include <vector>

#include "tessaly/platform/dialog.h"

// Handles the library's message boxes as long as the object lives, and answers each with OK.
class MessageBoxes {
  public:
    MessageBoxes() { SetMessageBoxHandler(Take, this); }
    ~MessageBoxes() { SetMessageBoxHandler(nullptr, nullptr); }
    MessageBoxes(MessageBoxes const&) = delete;
    MessageBoxes& operator=(MessageBoxes const&) = delete;
    std::vector<std::string> const& Texts() const { return texts_; }
    // Of the last box: its title, and its buttons and sign.
    std::string const& Title() const { return title_; }
    unsigned Type() const { return type_; }

  private:
    static int Take(void* self, char const* text, char const* title, unsigned type) {
        auto& boxes = *static_cast<MessageBoxes*>(self);
        boxes.texts_.emplace_back(text);
        boxes.title_ = title ? title : "";
        boxes.type_ = type;
        return IDOK;
    }
    std::vector<std::string> texts_;
    std::string title_;
    unsigned type_ = 0;
};
