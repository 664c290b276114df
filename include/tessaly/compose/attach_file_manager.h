#pragma once

#include "tessaly/mime/encoded_words.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

class MimeFormatStruct;

// One attachment as a file name in Shift-JIS and a content in Base64, converted between a file on disk, the
// text of a MIME part, and an entity. Any bytes are kept, zero bytes included. An object is used by one
// thread at a time.
class TESSALY_API CAttachFileManager {
  public:
    enum SetResult : int {
        set = 0,
        no_file = -1,           // from a file: it does not exist
        not_decoded = -1,       // from a text: MimeDecode refuses it
        not_opened = -2,        // from a file
        unknown_encoding = -2,  // from an entity: not base64, quoted-printable or 7bit; the content is empty
        no_name = 3,            // from an entity: the content is there, a name is not
    };

    CAttachFileManager() = default;
    CAttachFileManager(CAttachFileManager const&) = default;
    CAttachFileManager& operator=(CAttachFileManager const&) = default;
    virtual ~CAttachFileManager() = default;
    void Init();

    // In the lines of the mail, or in lines of 76 characters.
    CString GetFileBodyBase64() const { return m_strFileBodyBase64; }
    CString GetFileName() const { return m_strFileName; }
    // Name and content of a file: set, no_file or not_opened (also one too large to be read).
    int SetFileInfoFromFile(CString path);
    int SetFileInfoFromMimeString(CString text);
    // set, unknown_encoding or no_name.
    int SetFileInfoFromMimeFormatStruct(MimeFormatStruct entity);
    // The attachment as a part, header and body; empty without name and content. A line end in the name
    // becomes a blank.
    CString GetFileMimeString() const;
    static CString EncodeFileName(char const* name) { return ::EncodeFileName(name); }

  private:
    static CString GetAttacheFileName(MimeFormatStruct const& entity);

    CString m_strFileBodyBase64;
    CString m_strFileName;
};
