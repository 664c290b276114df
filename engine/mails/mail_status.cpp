#include "engine/mails/mail_status.h"

#include <utility>

#include "engine/base/crossing.h"

namespace engine {

std::string StatusName(CString const& letter) {
    static std::pair<char const*, char const*> const names[] = {
        {status_draft, "下書き"},  {status_sending, "送信中"},         {status_waiting, "送信待ち"},
        {status_complete, "完了"}, {status_with_errors, "エラーあり"}, {status_deleted, "削除"},
    };
    for (auto const& [known, name] : names)
        if (letter == known) return name;
    return Out(letter);
}

}  // namespace engine
