#pragma once

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

// Division of Japanese addresses, zip codes and telephone numbers into the parts of the customer row. The
// outputs are always set, if need be to empty texts. All functions use their arguments only and may be called
// from any thread.

// `prefecture` is the name of one of the 47 prefectures, with its suffix, that the address begins with, or
// empty; `rest` is all behind it.
TESSALY_API void xc_divide_address(CString address, CString& prefecture, CString& rest);

// Without its hyphens, a zip code of at least 4 characters is divided behind the third one. A shorter one
// goes into `first` unchanged.
TESSALY_API void xc_divide_zipcode(CString zip, CString& first, CString& second);

// Divides at the first hyphen, which goes into neither part. A number without one goes into `second`.
TESSALY_API void xc_divide_telephone(CString phone, CString& first, CString& second);

// Only the digits and hyphens, each run of hyphens as one, none at the end.
TESSALY_API void xc_format_codenumber(CString text, CString& out);
