#include "engine/sending/unknown_recipients.h"

#include <algorithm>
#include <filesystem>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/full_name.h"
#include "engine/environment/listed_mail.h"
#include "engine/sending/send_history.h"

namespace engine {
namespace {

void RequireUnknown(MailHistory const& history, std::vector<int> const& customers) {
    std::string others;
    for (int const customer : customers)
        if (!history.IsUnknown(customer)) others += (others.empty() ? "" : ",") + std::to_string(customer);
    if (!others.empty())
        throw Failure(Failure::customer_not_found,
                      "届いたかどうか分からない宛先ではありません: " + others + "\n何も変えませんでした。");
}

}  // namespace

std::string ReasonOf(UnknownAttempt const& attempt) {
    return attempt.reason.empty() ? "送信の途中で止まりました" : attempt.reason;
}

std::size_t CountUnknown(Session& session, int mail) {
    if (!std::filesystem::exists(JournalOf(session, mail))) return 0;
    return MailHistory(session, mail).Unknown().size();
}

std::vector<UnknownRecipient> ListUnknown(Session& session, int mail) {
    RequireMail(session, mail, Deleted::allow);
    MailHistory const history(session, mail);
    CDatabaseEdit& customers = session.Customers();
    std::vector<UnknownRecipient> list;
    for (auto const& [customer, attempt] : history.Unknown()) {
        OneCustomer data;
        customers.GetOneCustomerForEdit(data, customer);
        list.push_back({customer, Out(data.Email), Out(FullName(data.KanjiSei, data.KanjiMei)),
                        attempt.number + 1, Out(attempt.time), Out(attempt.message_id), ReasonOf(attempt)});
    }
    return list;
}

std::size_t SettleUnknown(Session& session, int mail, std::vector<int> const& customers,
                          Settlement settlement) {
    RequireMail(session, mail);
    SendHistory history(session, mail, MailLock::For::changing);
    RequireUnknown(history, customers);
    std::vector<int> chosen = customers;
    if (chosen.empty())
        for (auto const& [customer, attempt] : history.Unknown()) chosen.push_back(customer);
    std::sort(chosen.begin(), chosen.end());
    chosen.erase(std::unique(chosen.begin(), chosen.end()), chosen.end());
    for (int const customer : chosen) {
        if (settlement == Settlement::as_sent)
            history.SettleAsSent(customer);
        else
            history.MailAgain(customer);
    }
    if (!chosen.empty()) history.End();
    // Also for nobody: an earlier call can have been cut off before its end.
    PutInList(session, {ResultOf(mail, StatusAfter(history), history.Rows())},
              {MailStatus::draft, MailStatus::deleted});
    return chosen.size();
}

}  // namespace engine
