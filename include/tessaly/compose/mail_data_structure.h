#pragma once

#include "tessaly/mime/mime_format_struct.h"
#include "tessaly/platform/containers.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

struct OneCustomer;

// A mail sorted into four parts: its text, its HTML, the attachments that belong to the HTML (inline
// pictures) and the normal attachments. It is made from the text of a mail, and written as one, after a
// customer's data are merged into text and HTML.
//
// Written, it has at most three levels (RFC 2046 5.1.3, 5.1.4; RFC 2387): multipart/mixed around
// multipart/related around multipart/alternative, as far as there is something for each.
//
// An object is used by one thread at a time; the static operations by any number.
class TESSALY_API CMailDataStructure {
  public:
    using Attachments = CArray<MimeFormatStruct, MimeFormatStruct&>;

    // The present parts, by the shape in which they are written.
    enum DataType : int {
        type_nothing = 0,             // neither text nor HTML
        type_text = 1,                // a single part
        type_html = 2,                // multipart/alternative, its text part empty without a text
        type_html_related = 3,        // multipart/related around that
        type_text_mixed = 4,          // multipart/mixed around the text
        type_html_mixed = 5,          // around the alternative
        type_html_related_mixed = 6,  // around the related
    };
    // The class of an entity, by its content type (CheckContentType) and its file name (CheckHeader).
    enum ContentClass : int {
        class_none = -1,  // no content type
        class_other = 0,
        class_mixed = 1,
        class_related = 2,
        class_alternative = 3,
        class_text = 4,
        class_html = 5,
        class_file = 6,  // text or HTML with a file name: an attachment
    };
    enum SaveResult : int {
        saved = 0,
        no_directory = -1,   // it is missing and cannot be made
        no_given_name = -2,  // `useName` with a null name
        empty_name = -3,
        bad_name = -4,     // with one of \ / : * < > |, a second byte of a character not counted
        not_written = -5,  // also when the file cannot be written whole
    };
    static constexpr int ok = 0, failed = -1, not_decoded = -2;

    MimeFormatStruct m_mimeText;
    int m_bTextExist = 0;  // 1 once SetMIMETextBody has run
    MimeFormatStruct m_mimeHtml;
    int m_bHtmlExist = 0;         // 1 once SetMIMEHtmlBody has run
    Attachments m_aHtmlAttach;    // of the HTML
    Attachments m_aNormalAttach;  // of the mail

    CMailDataStructure() = default;
    CMailDataStructure(CMailDataStructure const&) = default;
    CMailDataStructure& operator=(CMailDataStructure const& other);
    virtual ~CMailDataStructure() = default;
    // A deep copy of everything.
    void Copy(CMailDataStructure const& other);

    void Init();
    void InitTextBody();
    void InitHtmlBody();
    void InitHtmlAttach() { m_aHtmlAttach.RemoveAll(); }
    void InitNormalAttach() { m_aNormalAttach.RemoveAll(); }
    void SetMIMETextBody(MimeFormatStruct& part);
    void SetMIMEHtmlBody(MimeFormatStruct& part);
    int GetDataTypeFromNowSetData() const;

    enum AttachmentUse : int { without_attachments = 0, with_attachments = 1 };
    // The mail as header lines, each with its CR LF, and body; the caller joins them by an empty line.
    // `withAttach` 0 leaves the normal attachments out. With a `customer` its data are merged into text and
    // HTML first, in the parts of this object: for several customers the caller works on a copy for each. ok,
    // or failed with both outputs empty when there is neither text nor HTML.
    //
    // The body of an alternative begins with its delimiter and ends with its closing one; those of related
    // and mixed begin and end with CR LF. A value of a header is folded behind each ";" by CR LF TAB.
    int GetMimeString(CString& header, CString& body, int withAttach, OneCustomer* customer);
    // Sorts the text of a mail into the parts, adding to those that are there; of several texts, or several
    // HTML texts, the last stays. A mail that is a single part which is neither text nor HTML nor a file
    // becomes the text part without counting as one. ok; failed for an empty text; not_decoded, with nothing
    // changed, for one that MimeDecode refuses.
    int AnalyzeMime(CString mail);

    int CountMIMENormalAttach() const { return m_aNormalAttach.GetSize(); }
    // ok and a copy, or failed for a bad index.
    int GetMIMENormalAttach(int index, MimeFormatStruct& out);
    // The file name in Shift-JIS, and the content in Base64; both empty for a bad index and for a part whose
    // transfer encoding is not known.
    CString GetMIMENormalAttachName(int index);
    CString GetMIMENormalAttachBodyBase64(int index);
    // 1 for a part that was appended; 0, with nothing appended, for a text that MimeDecode refuses.
    int AddMIMENormalAttach(CString mimeText);
    void AddMIMENormalAttach(MimeFormatStruct part);
    int RemoveAtMIMENormalAttach(int index);  // ok or failed
    void RemoveAllMIMENormalAttach() { InitNormalAttach(); }
    // Writes the attachment as a file into `dir`, which is made if it is missing; with `raw` its Base64 text
    // as it stands. The name is the part's own, or `name` with `useName`. `size` becomes the bytes written.
    // Results in the order of the checks: SaveResult.
    int SaveMIMENormalAttach(int index, CString dir, int& size, int raw, int useName, char const* name);

    // Quoted-printable (RFC 2045 6.7) of a text: lines are broken by "=\r\n" so that none holds more than 75
    // characters and the '=' of the break. CR and LF of the text stay line ends. A blank at the end of a line
    // is not protected.
    static CString QuotedPrintableEncorder(CString s);
    // Decodes quoted-printable: a "=" with CR LF behind it is dropped, =XX becomes a byte, with digits in
    // either case. A '=' with less than two characters behind it ends the text; one in front of two
    // characters that are no digits is kept as text, so that a text that only claims to be encoded is not
    // lost. Null gives the empty text. The result ends at a zero byte.
    static CString QuotedPrintableDecoder(char const* s);

  protected:
    // "_TESSALY_MULTIPART_", the local time with milliseconds, a few random characters; see
    // mime::NewBoundary.
    CString MakeBoundary();
    int CheckHeader(MimeFormatStruct& entity);
    int CheckContentType(CString value);
    // Merges a customer's data into a body: a text or HTML part, decoded by its transfer encoding, in
    // us-ascii or else ISO-2022-JP, and encoded again the same way. An entity without a content type counts
    // as text; any other is left alone. The headers stay.
    void InsertCustomerInfo(MimeFormatStruct& entity, OneCustomer& customer);

  private:
    void TakeFromMixed(MimeFormatStruct& part);
    void TakeFromRelated(MimeFormatStruct& part);
    void TakeFromAlternative(MimeFormatStruct& part);
    bool TakeBody(int content_class, MimeFormatStruct& part);
};
