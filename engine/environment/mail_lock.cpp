#include "engine/environment/mail_lock.h"

#include <filesystem>

#include "engine/base/failure.h"
#include "engine/environment/data_paths.h"
#include "engine/environment/listed_mail.h"

namespace engine {

MailLock::MailLock(Session& session, int mail, For use) {
    std::string const folder = session.DataDirectory() + "/" + MailFolder(mail);
    if (!std::filesystem::is_directory(folder)) return;
    if (use == For::sending) {
        lock_.emplace(folder, "このメール", &session.Front());
        return;
    }
    if (auto lock = FolderLock::IfFree(folder, "このメール")) {
        lock_.emplace(std::move(*lock));
        return;
    }
    throw Failure(
        Failure::environment_busy,
        "このメールは送信中です。終わってからもう一度実行してください: " + NameOfMail(session, mail));
}

std::vector<MailLock> LockToChange(Session& session, std::vector<int> const& mails) {
    std::vector<MailLock> locks;
    for (int const mail : mails) locks.emplace_back(session, mail, MailLock::For::changing);
    return locks;
}

}  // namespace engine
