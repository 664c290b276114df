#pragma once

#include "tessaly/platform/containers.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

// One header line, unfolded.
struct MimeHeaderStruct {
    CString m_strName;   // the text before the first ":"
    CString m_strValue;  // the text behind it, its leading blank kept
};

// One MIME entity (RFC 2045): a whole message, a part of a multipart message, or an attachment. Its headers,
// the header values that are read most, its body still in its transfer encoding, and its child entities. All
// texts are bytes in the code of the message; only ConvertBodyToCp932String and the operations on names
// convert. An entity owns its headers and children by value. Nesting may be as deep as in the message:
// copying and destroying do not recurse.
//
// Operations give 1 for success or true and 0 for failure or false; an output is then unchanged unless it is
// said otherwise. Texts to compare with are given in lower case. An entity belongs to one thread at a time.
class TESSALY_API MimeFormatStruct {
  public:
    using Headers = CArray<MimeHeaderStruct, MimeHeaderStruct>;
    using Children = CArray<MimeFormatStruct, MimeFormatStruct&>;

    Headers m_aHeader;  // all header lines in text order, duplicates kept
    CString
        m_strContentTypeName;  // name of the first Content-Type header, as written; empty if there is none
    CString m_strContentType;  // its value, raw
    CString m_strBoundary;     // of a multipart entity, without quotes
    CString m_strContentDispositionName;
    CString m_strContentDisposition;
    CString m_strContentTransferEncodingName;
    CString m_strContentTransferEncoding;
    double m_dMimeVersion = 0;  // the integer part
    CString m_strBody;          // still encoded; empty for an entity with children
    Children m_aChild;
    int m_bHasChild = 0;  // 1 for an entity that was decoded as multipart or as message/rfc822

    MimeFormatStruct();
    MimeFormatStruct(MimeFormatStruct const& other);
    MimeFormatStruct(MimeFormatStruct&& other) noexcept;
    MimeFormatStruct& operator=(MimeFormatStruct const& other);
    MimeFormatStruct& operator=(MimeFormatStruct&& other) noexcept;
    ~MimeFormatStruct();
    void Init();
    // A deep copy of every field. Result: `dst`.
    static MimeFormatStruct& Copy(MimeFormatStruct& dst, MimeFormatStruct const& src);

    // The body decoded and as Shift-JIS text, by transfer encoding (base64, quoted-printable, 7bit, 8bit) and
    // charset (iso-2022-jp, utf-8, shift_jis, shift-jis, us-ascii; a missing charset counts as us-ascii); 0
    // for any other, a missing transfer encoding included. Decoded data end at their first zero byte.
    int ConvertBodyToCp932String(CString& out);
    // The body decoded, for a transfer encoding of that name. `out` gets exactly the bytes of the matching
    // GetSize..., without a NUL. 0 for another encoding, and for a body that is not in it. Base64 ends behind
    // its first padding; its characters are a multiple of four. Quoted-printable loses the blanks and tabs at
    // both ends of the body, and soft line breaks are not recognised, each giving a zero byte: texts go
    // through ConvertBodyToCp932String or DecodeMailBody.
    int GetBodyAfterBase64Decode(char* out) const;
    int GetSizeAfterBase64Decode(unsigned long& size) const;
    int GetBodyAfterQuotedPrintableDecode(char* out) const;
    int GetSizeAfterQuotedPrintableDecode(unsigned long& size) const;
    // The size by the entity's encoding; for 7bit and 8bit the body's length.
    int GetSizeAfterDecode(unsigned long& size) const;

    // In lower case, without blanks around it. The type needs a ";" behind it.
    int GetContentType(CString& out) const;
    int GetCharset(CString& out) const;
    // Always 1.
    int GetContentTransferEncoding(CString& out) const;
    int ContentTypeIs(char const* s) const;
    int CharsetIs(char const* s) const;  // a missing charset equals the empty text
    int ContentTransferEncodingIs(char const* s) const;

    // The header of that name; its value unchanged, or compared without blanks and angle brackets. Setting
    // needs an existing header.
    int GetContentId(CString& out) const;
    int ContentIdIs(char const* s) const;
    int SetContentId(char const* s);
    int GetContentLocation(CString& out) const;

    // The parameter "name" of the content type, decoded to Shift-JIS; and set to an encoded name, a line end
    // as a blank, which always succeeds.
    int GetNameParamFromContentType(CString& out) const;
    int SetNameParamToContentType(CString const& name);
    // The text between the first and the last double quote.
    CString GetStringInDblQuote(CString& s);
    // The file name of an attachment: the quoted text of its disposition, decoded.
    CString GetMIMENormalAttachName();

  private:
    void TakeFields(MimeFormatStruct const& other);
    void DropChildren() noexcept;
    static constexpr int no_header = -1;
    int HeaderNamed(char const* name) const;
    int GetHeader(char const* name, CString& out) const;
};
