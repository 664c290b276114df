#pragma once

#include "tessaly/mailstore/term_type.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"
#include "tessaly/storage/base_record_structer.h"
#include "tessaly/storage/err_msg.h"

class EnvManager;

// The texts of one mail: the file MAIL\<id>\mail<id>.dat, a record of subject and body for each terminal
// slot. To read, SetMailFromFile; to write, SetMailFromFile(-1, ...), SetNewMailID, the records and
// WriteMailAllTypeToFile; one object writes one mail. Texts are kept unchanged, merge words included.
//
// The environment is not owned. Results are 1 for success and 0 for failure where nothing else is said;
// failures leave their number and text in GetErrMsg(). No lock but that of the file: an object belongs to one
// thread.
class TESSALY_API MailWriter : public BaseRecordStructer {
  public:
    // The elements of a record, in their order on disk.
    enum Element : int { element_subject = 0, element_body = 1, element_count = 2 };
    enum Result : int { failed = 0, done = 1 };
    enum SetResult : int { set_ok = 0, not_set = -2 };
    static constexpr int subject_limit = 128;  // bytes
    static constexpr int body_limit = 10240;   // bytes
    static constexpr int slot_count = 7;       // slots that an operation accepts
    static constexpr int new_mail = -1;

    MailWriter() = default;
    // Binds by SetTermNum and SetEnvManager. A refusal sets 12004 or 12002, is shown in a message box and
    // raises CUserException.
    MailWriter(EnvManager* env, int termNum);

    // The least number of slots of a mail. failed below 1, or when it is set already.
    int SetTermNum(int n);
    // failed for a null pointer, or when one is set already.
    int SetEnvManager(EnvManager* env);

    // Reads the texts of a mail, in a keyed environment with `key` if `useKey` is not 0 (null for the default
    // tables), else with the database key. -1 makes an object for a new mail, all texts empty. A mail without
    // a file has empty texts, and so have the slots that the file lacks. Failures: 12005 (`id` below -1),
    // 12001, 12003; 12201 for a file that is no table of subjects and bodies, or if the environment does not
    // give its key; the object then has no texts, and writes none over the file.
    int SetMailFromFile(int id, int useKey, char const* key);
    // Length in bytes of a text, and the text itself; 0 and empty on failure: 12007 for an element, 12008 for
    // a slot that does not exist.
    int GetMailElementLength(int element, TermType term);
    CString GetMailElement(int element, TermType term);
    // Sets subject and body of a slot; null counts as empty. A subject over subject_limit or a body over
    // body_limit leaves 12009, and is stored all the same. set_ok; not_set for a slot that the mail lacks.
    int SetMailRecordToMemory(char const* subject, char const* body, TermType term);
    // Gives the new mail its ID. failed with 12006 when the mail is not a new one, 12005 for a negative `id`.
    int SetNewMailID(int id);
    // Writes the file if the texts were changed. failed with 12006 for a new mail without ID, 12202.
    [[nodiscard]] int WriteMailAllTypeToFile();
    // Writes to another file with `key` (null for none); changes that are unsaved in the own file stay so.
    // failed with 12202.
    [[nodiscard]] int WriteFromMemoryToFileAppointFileName(CString path, char const* key);

    CErrMsg& GetErrMsg() { return error_; }

  private:
    static constexpr int no_id_set = -2;

    int Fail(int code);
    CString MakeFileName(int id) const;
    int FillUp();
    bool Exists(int element, TermType term);

    int term_num_ = 0;
    int mail_id_ = no_id_set;
    EnvManager* env_ = nullptr;
    CString path_;
    bool is_new_ = false;
    CErrMsg error_;
};
