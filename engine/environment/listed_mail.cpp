#include "engine/environment/listed_mail.h"

#include "engine/base/crossing.h"
#include "engine/base/failure.h"

namespace engine {

bool IsDeleted(Session& session, int id) {
    CString status;
    return session.Mails().GetMailDataPinPoint(id, CMailListViewer::column_status, status) == 0 &&
           status == CMailListViewer::letter_deleted;
}

void RequireMail(Session& session, int id, Deleted deleted) {
    if (session.Mails().FindMailData(id) != 0)
        throw Failure(Failure::mail_not_found, "その番号のメールはありません: " + std::to_string(id) +
                                                   "\n「tessaly mail list」で見られます。");
    if (deleted == Deleted::refuse && IsDeleted(session, id))
        throw Failure(Failure::deleted,
                      "削除したメールです: " + std::to_string(id) + " (mail restore で戻せます)");
}

std::string NameOfMail(Session& session, int id) {
    CString title;
    session.Mails().GetMailDataPinPoint(id, CMailListViewer::column_title, title);
    return std::to_string(id) + ": " + Out(OnOneLine(title.View()));
}

}  // namespace engine
