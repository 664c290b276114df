#pragma once

#include "tessaly/mailstore/attach_writer.h"
#include "tessaly/mailstore/mail_writer.h"
#include "tessaly/mailstore/one_mail.h"
#include "tessaly/platform/containers.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"
#include "tessaly/platform/ole_date_time.h"
#include "tessaly/storage/err_msg.h"

class CMailListViewer;
class COneMailData;
class EnvManager;

// Reads and stores a mail whole: its row in the list of mails, its texts and its attachments. Made for one
// mail ID; storing a new mail gives it its ID, and later stores by the same object change that mail.
//
// The kind of the mail and the format of its attachments are arguments of every store and read. The kind is
// the second character of the mail's special flag: 'N' text for all terminals, 'Y' the PC mail is HTML, 'M'
// the mobile terminals have HTML mail. Format 5 keeps attachments per terminal - of pc, nd, at, sb and wl for
// kind N, of pc for Y, of nd, at and sb for M; any other number is format 4, one list for all, in the first
// slot. No operation converts one format into another; one object serves mails of both, in any order.
// Attachments are exchanged through the work folder of AttachWriter.
//
// A store writes the row first, then the texts, then the attachments, each file in its place: after a failure
// the row and the files may differ, and the object's mail ID stays set.
//
// Environment and list are not owned. A list that already holds this same environment is accepted; the
// application shares one among all. Failures leave their number and text in GetErrMsg() where one is named.
// No lock of its own: an object belongs to one thread, and one mail at a time uses the work folder.
class TESSALY_API OneMailMaker {
  public:
    enum Result : int {
        ok = 0,
        unknown_mail = -5,              // 8008: SetMailID
        no_mail = -7,                   // the mail ID is no_mail_id; no number
        directory_failed = -8,          // 8010: the mail's folder cannot be made
        list_not_written = -9,          // 8201: the row, or the list
        body_not_written = -10,         // 8202: the texts; no number when a record of them was refused
        no_environment = -11,           // 8002
        no_mail_list = -12,             // 8004
        attach_list_not_written = -16,  // 8206
        attachment_not_read = -17,      // 8203: at least one attachment could not be decoded
        attachment_not_written = -18,   // 8204
        failed = -99,                   // 8007 no new ID, 8008 no such mail, 8205 attachment list, 8999
    };
    enum MailID : int { new_mail = -1, new_mail_too = -2, no_mail_id = -3 };

    OneMailMaker();
    // Binds in the order of the arguments. A refusal sets 8001, 8003 or 8006 (the error of SetMailID), is
    // shown in a message box and raises CUserException.
    OneMailMaker(EnvManager* env, CMailListViewer* mails, int mailID);

    // Each once only: 1; 0 for a null pointer, when one is set already, when the list holds another
    // environment, and when the list cannot be read; with 0 nothing is bound.
    int SetEnvManager(EnvManager* env);
    int SetMailListViewer(CMailListViewer* mails);
    // ok; unknown_mail for an ID, other than those of MailID, that has no row.
    int SetMailID(int id);
    int GetMailID() const { return mail_id_; }

    // Reads the mail into `out`, its attachments into the work folder. For new_mail empty texts, no
    // attachments, and the present time rounded up to the next ten minutes as reserve date; new_mail_too is
    // for storing only. A bad reserve date of the list becomes an invalid date. ok, no_environment,
    // no_mail_list, no_mail, failed (8999; 8205), attachment_not_read with the rest of the mail in `out`.
    int GetOneMailData(OneMail& out, char const& kind, int const& format);
    // Stores the mail, its attachments from the work folder. The title in the list is the subject of slot 0,
    // or of slot 1 for kind M. A stored mail keeps a special flag of two characters or none; a longer one of
    // a damaged list is emptied. An invalid reserve date is not stored. ok, or any other result but
    // unknown_mail and attachment_not_read.
    int SetOneMailData(OneMail& mail, char kind, int format);
    // Stores texts of kind N without attachments; both arrays have 7 elements, else failed with 8999. The
    // last two arguments have no effect.
    int SetOneMailData(CString addressName, COleDateTime reserve, CArray<CString, CString> subjects,
                       CArray<CString, CString> bodies, char, int);
    // MAIL\ATEMP\ in the data directory, with its backslash; empty without an environment.
    CString GetAttachTempDirPath() const { return work_folder_; }
    CErrMsg& GetErrMsg() { return error_; }

  private:
    using Attachments = CArray<AttachData, AttachData>;

    int Fail(int code, Result result);
    int CheckBinding();
    bool HandOver(CMailListViewer& mails);
    static void InitOneMail(OneMail& mail);
    int ReadListColumns(OneMail& out);
    int FillRow(OneMail const& mail, char kind, COneMailData& row);
    int StoreRow(COneMailData& row);
    int StoreTexts(OneMail const& mail);
    void UseFormat4();
    void UseFormat5();
    int WriteAttachments(Attachments const& list);
    int ReadAttachments(Attachments& list);
    int _WriteAttachFileAndList_Ver4(Attachments const* attach);
    int _WriteAttachFileAndList_Ver5(char kind, Attachments const* attach);
    int _ReadAttachFileAndList_Ver4(Attachments* attach);
    int _ReadAttachFileAndList_Ver5(char kind, Attachments* attach);

    EnvManager* env_ = nullptr;
    CMailListViewer* mails_ = nullptr;
    MailWriter texts_;
    AttachWriter attachments_;
    CString work_folder_;
    int mail_id_ = no_mail_id;
    CErrMsg error_;
};
