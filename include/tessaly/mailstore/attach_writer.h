#pragma once

#include "tessaly/mailstore/term_type.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"
#include "tessaly/storage/base_record_structer.h"
#include "tessaly/storage/err_msg.h"

class EnvManager;

// The stored attachments of a mail. The application copies a file that the user attaches into a work folder;
// stored, it is Base64 in the mail's folder, and its name stands in an attachment list. Opening a mail copies
// the files back into the work folder. A store has one of three formats: 3 and 4 have one list for a mail, 5
// has one for each terminal; the lists of format 3 are plain, the others scrambled with the environment's
// key.
//
//                  formats 3, 4             format 5 (<t>: pc, nd, at, sb, wl)
//     list         MAIL\<id>\attc<id>.dat   MAIL\<id>\ATTACH\at_<t><id>.dat
//     files        MAIL\<id>\ATTACH\        MAIL\<id>\ATTACH\<t>\           <name>.base64
//     work folder  MAIL\ATEMP\              MAIL\ATEMP\<t>\                 <name>
//
// Set up in this order: SetEnvManager, SetVersion, SetMailID, and SetTermType for format 5. Then to write:
// LoadAttachList, InitAttachListAndData, for each file EncodeTempDataToDataDir and
// SetAttachListRecordToMemory, SaveAttachList; to read: LoadAttachList, for each record
// DecodeAttachDataToWorkDir. The work folder is shared by all mails of an environment; the destructor empties
// it unless the flag is cleared.
//
// A name is that of a file without a path. One that is empty, "." or "..", or holds a path divider, a colon
// or a control character counts as a file that cannot be opened, so that no list can lead out of its folder.
//
// The environment is not owned. Results are 1 for success and 0 for failure where nothing else is said;
// failures leave their number and text in GetErrMsg() where one is named. Encoding and decoding hold a file
// and its text in memory whole. No lock but that of the list's file: an object belongs to one thread.
class TESSALY_API AttachWriter : public BaseRecordStructer {
  public:
    // The elements of a record, in their order on disk.
    enum Element : int { element_name = 0, element_info = 1, element_count = 2 };
    enum Result : int { failed = 0, done = 1 };
    enum SetResult : int { set_ok = 0, not_set = -2 };
    enum Version : int { version_plain = 3, version_one_list = 4, version_terminals = 5 };
    static constexpr int terminal_count = 5;
    static constexpr int new_mail = -1;

    AttachWriter() { SetElementNumber(element_count); }
    AttachWriter(AttachWriter const&) = default;
    AttachWriter& operator=(AttachWriter const&) = default;
    ~AttachWriter() override;

    // failed for a null pointer, or when one is set already.
    int SetEnvManager(EnvManager* env);
    // failed for anything but 3, 4 and 5.
    int SetVersion(int version);
    // failed below -1. -1 stands for a new mail, which has no list and no files; the records are dropped.
    int SetMailID(long id);
    // failed for anything but 0 to 4.
    int SetTermType(TermType term);
    // Whether the destructor empties the work folder; 1 at first.
    void SetFlagForDeleteFileInTemp(int flag) { empties_work_folder_ = flag; }
    // Empty while it is unknown.
    CString GetFolderPathForAttachFileTemporary() const;

    // Reads the list, with `key` unless it is null; a mail without a list has an empty one. failed while
    // something is not set up; with 15102 for a file that is no attachment list, or if the environment does
    // not give its key.
    int LoadAttachList(char const* key);
    int GetFileNum() const { return GetRecordNumber(); }
    // Empty on failure: 15101 for a record, 15005 for a field that does not exist.
    CString GetAttachListElement(int record, int field);
    // Appends a record. set_ok, not_set.
    int SetAttachListRecordToMemory(CString name, CString info);
    // Deletes the stored files of the records in memory, and drops the records.
    int InitAttachListAndData();
    // The stored text of a file: Base64 in lines of 76 characters.
    int GetAttachDataString(CString name, CString& out);
    // Decodes a stored file into the work folder. failed without a number when there is no stored text, with
    // 15105 (no Base64; no file is made), 15107.
    int DecodeAttachDataToWorkDir(CString name);
    // Stores a file of the work folder, or of the one that formats 3 and 4 use if `fromRoot` is not 0. failed
    // with 15106, 15107.
    int EncodeTempDataToDataDir(CString name, int fromRoot);
    // Whether every record has its stored file. failed with 15104.
    int CheckAllFile();
    // Writes the list if it was changed. failed with 15004 for a new mail, 15103.
    [[nodiscard]] int SaveAttachList();
    // Writes the list to another file with the environment's key; changes that are unsaved in the own file
    // stay so. failed with 15103.
    [[nodiscard]] int WriteFromMemoryToFileAppointFileName(CString path);
    // A file's content in Base64 for a mail that goes out: lines of 76 characters, CR LF at the end of each,
    // one CR LF for an empty file. Empty for a file that cannot be read.
    static CString GetBase64EncodedStringForFile(CString path);

    CErrMsg& GetErrMsg() { return error_; }

  private:
    static constexpr int not_set_yet = -9;

    int Fail(int code);
    bool CheckNecessaryInfo() const;
    bool KnowsFolders() const;
    CString UnderMailFolder(CString const& rest) const;
    CString TermName() const;
    CString GetFilePathForAttachFileList() const;
    CString GetDirPathForAttachFileList() const;
    CString GetFolderPathForAttachFileBody() const;
    CString BodyPath(CString const& name) const;
    int SaveList(CString const& path, bool at_home);

    EnvManager* env_ = nullptr;
    int version_ = not_set_yet;
    int mail_id_ = not_set_yet;
    int term_ = not_set_yet;
    int empties_work_folder_ = 1;
    CErrMsg error_;
};
