#pragma once

#include "tessaly/storage.h"

namespace engine {

// Family and given name, a blank between them where there are both.
inline CString FullName(CString const& family, CString const& given) {
    return family + (family.IsEmpty() || given.IsEmpty() ? "" : " ") + given;
}

}  // namespace engine
