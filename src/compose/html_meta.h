#pragma once

#include "tessaly/platform/cstring.h"

namespace compose {

// The first <meta> tag that holds "http-equiv=content-type", without regard to case, gets the charset
// `charset`. A tag with this value in quotes does not count.
CString WithMetaCharset(CString const& html, char const* charset);

}  // namespace compose
