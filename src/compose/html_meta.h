#pragma once

#include "tessaly/platform/cstring.h"

namespace compose {

// The first <meta> tag that holds "http-equiv=content-type", without regard to case, becomes one that names
// `charset`. Its value in quotes makes it no such tag.
CString WithMetaCharset(CString const& html, char const* charset);

}  // namespace compose
