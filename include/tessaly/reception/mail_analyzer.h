#pragma once

#include <memory>
#include <vector>

#include "tessaly/mime/mime_decode_tool.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"
#include "tessaly/platform/ole_date_time.h"
#include "tessaly/reception/mail_reports.h"

// Analyses one received mail: its kind, sender and date, its subject and text in Shift-JIS, its attachments,
// and the Message-ID of the sent mail that it answers. No file or network work.
//
// One object for one mail, or one that InitMember has reset in between: an analysis resets nothing, so that
// the text of a second mail would become an attachment. The options are set after InitMember. An object
// serves one thread.
class TESSALY_API MailAnalyzer : public MimeDecodeTool {
  public:
    enum MailType : int {
        not_analysed = -2,
        ordinary = -1,
        error_mail = 1,                // a bounce (RFC 3464, and its older forms)
        disposition_notification = 2,  // a read receipt (RFC 8098)
        refuse = 3,                    // the customer refuses further mail
        regist = 4,                    // a registration as a customer
    };
    static constexpr int analysed = 0;
    static constexpr int not_decoded = -1;

    MailAnalyzer() { InitMember(); }
    explicit MailAnalyzer(CString mail);
    explicit MailAnalyzer(MimeFormatStruct& mail);

    // Resets everything, options and keyword too; the send date becomes the present.
    void InitMember();
    // Whether a mail without a text counts as a registration, and whether a first line with `keyword` counts
    // as a refusal.
    void SetResistWithEmpty(int on) { regist_when_empty_ = on; }
    void SetRefuseWithKeyword(int on, CString keyword);
    // The mail to be analysed. The first gives MimeDecode's result, the second 1.
    int SetMailData(CString mail);
    int SetMailData(MimeFormatStruct& mail);
    void GetMailData(MimeFormatStruct& mail) const { mail = mail_; }

    // analysed. A value that cannot be read stays as it was.
    int MailAnalysis();
    // The same for a mail; not_decoded, with nothing analysed, when SetMailData gave 0.
    int MailAnalysis(CString mail);
    int MailAnalysis(MimeFormatStruct& mail);

    int GetMailType() const { return type_; }
    CString GetMessageID() const { return message_id_; }
    CString GetOriginalMessageID() const { return original_message_id_; }
    CString GetFromAddress() const { return from_address_; }
    CString GetDecodeMailBody() const { return body_; }
    CString GetDecodeMailSubject() const { return subject_; }
    COleDateTime GetMailSendDate() const { return send_date_; }  // local time
    int GetAttachFileNum() const { return static_cast<int>(attachments_.size()); }
    // The delivery report in the mail, whatever type the mail has; all empty without one.
    DeliveryReport const& GetDeliveryReport() const { return delivery_report_; }
    DispositionReport const& GetDispositionReport() const { return disposition_report_; }
    // A copy of an attachment. 0 for an index outside the list.
    int GetAttachFileData(int index, MimeFormatStruct& part) const;

    // A structured header value without its blanks and comments (RFC 5322 3.2.2); quoted strings and encoded
    // words stay as they are. Comments do not nest.
    static CString ReformatHeaderBodyString(CString value);

  private:
    int CheckMDNsMail() const;
    int CheckErrorMail() const;
    int CheckRefuseMail() const;
    int CheckRegisterMail();
    void TakeReports();
    CString OriginalOfReceipt();
    CString OriginalOfBounce();
    void SetMailBodyAndAttachFileArray(MimeFormatStruct const& mail);
    void TakeLeaf(MimeFormatStruct const& leaf);

    int type_ = not_analysed;
    CString message_id_;
    CString original_message_id_;
    CString from_address_;
    CString body_;
    CString subject_;
    COleDateTime send_date_;
    DeliveryReport delivery_report_;
    DispositionReport disposition_report_;
    MimeFormatStruct mail_;
    std::vector<MimeFormatStruct> attachments_;
    int body_found_ = 0;
    int regist_when_empty_ = 0;
    int refuse_by_keyword_ = 0;
    CString keyword_;
};
