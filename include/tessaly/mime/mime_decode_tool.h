#pragma once

#include "tessaly/mime/mime_format_struct.h"
#include "tessaly/platform/containers.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

// Turns the text of a message, or of a part of one, into a tree of entities (RFC 2045, RFC 2046). Structure
// only: bodies stay in their transfer encoding, charsets are not touched. A text ends at its first zero byte,
// and all its line ends first become CR LF.
//
// Broken mail is decoded as far as it goes, and the result shows that something was missing: 1 for a text
// that is well-formed, else 0 with everything in the tree that could be read. Time is linear in the size of
// the text, however many parts and lines like boundaries it has and however deep they nest; nesting does not
// use the stack.
//
// The class has no data. Static operations only; any number of threads may use them.
class TESSALY_API MimeDecodeTool {
  public:
    using Headers = CArray<MimeHeaderStruct, MimeHeaderStruct>;

    MimeDecodeTool() = default;
    MimeDecodeTool(MimeDecodeTool const&) = default;
    MimeDecodeTool& operator=(MimeDecodeTool const&) = default;
    virtual ~MimeDecodeTool() = default;

    static int MimeDecode(CString text, MimeFormatStruct& out);
    // Copies of the headers of that name, without regard to case, in text order. `found` is emptied first.
    static void GetHeaderInfo(CString name, Headers& found, MimeFormatStruct& entity);
    // Divides "type/subtype; params": the text before the "/", from there to the first ";", and the rest. A
    // value without "/" is all type. Nothing is trimmed.
    static void SplitContentType(CString value, CString& type, CString& subtype, CString& params);
    // The first place of `what` in `text` without regard to case: a pointer into `text`, or null. ASCII is
    // found in texts of any code, byte by byte; anything else in whole characters of code page 932. An empty
    // `what` gives `text`. A null text counts as empty.
    static char* stristr(char const* text, char const* what);
    // As MimeFormatStruct::Copy.
    static void CopyMimeFormatStruct(MimeFormatStruct& dst, MimeFormatStruct& src);

  protected:
    // Divides at the first empty line. The header ends with the CR LF of its last line; a text without an
    // empty line is all body, and so is one that begins with a line end: without that line end if an empty
    // line (CR LF CR LF) is anywhere in the text, with it if not.
    static void SplitHeaderBody(CString text, CString& header, CString& body);
    // Turns every CR LF, LF CR, lone CR and lone LF into CR LF.
    static CString CrLfConv(CString text);
    // Unfolds (a line end and one blank behind it are removed) and divides at the colons. The text behind the
    // last line end is no header. 0 for a line without a colon, which becomes a name without a value, and for
    // a CR or LF alone.
    static int SplitMailHeader(CString header, Headers& headers);
    // The parts between the delimiter lines of a multipart body (RFC 2046 5.1.1), without the text before the
    // first and behind the last. 0, with the parts found so far, when the first or the closing delimiter is
    // missing.
    static int SplitMailBody(CString body, CArray<CString, CString>& parts, CString boundary);
};
