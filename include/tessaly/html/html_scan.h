#pragma once

#include "tessaly/html/html_element.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

// A scanner over the tags of an HTML text in Shift-JIS, and their replacement in place. It is no parser:
// nesting, comments and scripts have no meaning, only the text between a "<" and the next ">", of several "<"
// in front of it the last. A tag that it cannot divide counts as text. The text outside of a rewritten tag
// stays byte for byte. None of the bytes that it searches for is ever the second of a double-byte character.
// Time is linear in the text; equal elements are recognised by their hash.

// 1 when every byte is a digit or a lower-case letter; in the name of an attribute also "-". An empty text
// gives 1.
TESSALY_API int IsAllowdAsHtmlElemName(CString const& name);
TESSALY_API int IsAllowdAsHtmlAttrName(CString const& name);

// Divides the text between "<" and ">", in lower case: a name and attributes with values, in quotes or up to
// the next blank. 1; or 0, with `out` unchanged, for a text that is no tag: a comment or declaration, an
// attribute without a value in front of another one or with none behind it, a quoted value that does not end
// or has something other than a blank behind it.
TESSALY_API int ExpandHtmlElement(CString const& tagText, CHtmlElement& out);

// The elements of all tags in their order, with `allowDuplicates` 0 each once.
TESSALY_API void ExtractHtmlElement(CString const& html, CHtmlElems& out, int allowDuplicates);

// Each of these writes `html` with some tags replaced to `out`, and gives the number of tags replaced. An
// empty `html` leaves `out` as it was.
//
// Tags that equal the source of a pair become its destination; where that makes no tag (GetTagString), the
// tag stays as it was and is not counted.
TESSALY_API int ReplaceHtmlElement(CString const& html, CHtmlElemRepPair const& pairs, CString& out);
// In start tags `elemName` with the attribute `attr`, whose names and value are compared without regard to
// case, the first attribute of that name gets the value `newValue`, unchanged. The whole tag is rewritten,
// its other attributes in lower case and in double quotes.
TESSALY_API int ReplaceHtmlAttrVal(CString const& html, CString const& elemName, CHtmlAttribute const& attr,
                                   CString const& newValue, CString& out);
TESSALY_API int ReplaceHtmlAttrVal(CString const& html, CString const& elemName, CString const& attrName,
                                   CString const& attrValue, CString const& newValue, CString& out);
