#pragma once

#include "tessaly/platform/cstring.h"

class EnvManager;

namespace environment {

// The key of an environment's data files: the default tables in an environment of type_plain, else the
// database key. It is read at each load and save, since the environment file may change in between.
class DataKey {
  public:
    explicit DataKey(EnvManager& env);
    // For loads whose caller may give the key: `key` if `use_key` is not 0 (null for the default tables),
    // else the environment's own. An environment of type_plain has no key, whatever the arguments.
    DataKey(EnvManager& env, int use_key, char const* key);

    // false when a keyed environment does not give its key. Nothing is then read or written, so that no file
    // is made that its own key does not open.
    bool IsKnown() const noexcept { return known_; }
    // Null for the default tables; valid as long as this object.
    char const* Get() const noexcept { return keyed_ ? static_cast<char const*>(text_) : nullptr; }

  private:
    void TakeFrom(EnvManager& env);

    CString text_;
    bool keyed_ = false;
    bool known_ = true;
};

}  // namespace environment
