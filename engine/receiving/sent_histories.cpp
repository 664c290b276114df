#include "engine/receiving/sent_histories.h"

#include <chrono>
#include <filesystem>

#include "engine/base/date_text.h"
#include "engine/base/failure.h"
#include "engine/consent/refusals.h"
#include "engine/customers/elements.h"
#include "engine/mails/mail_store.h"
#include "tessaly/text.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

constexpr int recent_days = 7;

CArray<HistorySet, HistorySet> RowsOf(MailHistory& history) {
    CArray<HistorySet, HistorySet> rows;
    history.Rows().GetHDataFromMemoryToStruct(rows, HistoryListViewer::all_rows, HistoryListViewer::all_rows);
    return rows;
}

CArray<int, int> AllMails(Session& session) {
    CArray<int, int> mails;
    session.Mails().CountMailByViewType(CMailListViewer::view_not_deleted | CMailListViewer::view_deleted,
                                        &mails);
    return mails;
}

std::string DaysAgo(int days) {
    return std::string(DateText(COleDateTime::GetCurrentTime() - COleDateTimeSpan(days, 0, 0, 0)).View());
}

// A history is written with each sending.
bool IsOlder(std::string const& file, int days) {
    std::error_code error;
    auto const written = fs::last_write_time(file, error);
    return error || written < fs::file_time_type::clock::now() - std::chrono::days(days + 1);
}

}  // namespace

bool SentHistories::Has(MailNumbers const& numbers) {
    return session_.Mails().FindMailData(numbers.mail) == 0 &&
           session_.Customers().FindCustomerID(numbers.customer, CDatabaseEdit::find_all) == 1;
}

template <class History, class... More>
SentHistories::Opened<History>& SentHistories::Open(ByMail<History>& histories, int mail, More... more) {
    auto const [place, is_new] = histories.try_emplace(mail);
    Opened<History>& opened = place->second;
    if (is_new) try {
            opened.history = std::make_unique<History>(session_, mail, more...);
        } catch (Failure const& failure) {
            opened.trouble = failure.what();
        }
    return opened;
}

MailHistory* SentHistories::Get(int mail, std::string& trouble) {
    auto const give = [&](auto const& opened) -> MailHistory* {
        trouble = opened.trouble;
        return opened.history.get();
    };
    return changes_ ? give(Open(opened_, mail, MailLock::For::changing)) : give(Open(looked_at_, mail));
}

// Also of a mail that is being sent, whose history cannot be changed now. A damaged one has no IDs.
MailHistory* SentHistories::ToLookAt(int mail) {
    std::string trouble;
    MailHistory* const history = Get(mail, trouble);
    return history ? history : Open(looked_at_, mail).history.get();
}

std::vector<std::string> SentHistories::IdsOf(MailNumbers const& numbers) {
    std::vector<std::string> ids;
    MailHistory* const history = ToLookAt(numbers.mail);
    if (!history) return ids;
    CString id;
    if (history->Rows().DBID2RowNumber(numbers.customer) >= 0 &&
        history->Rows().TransferMessageID(numbers.customer, id, HistoryListViewer::transfer_read) >= 0 &&
        !id.IsEmpty())
        ids.emplace_back(id.View());
    if (auto const unknown = history->Unknown().find(numbers.customer); unknown != history->Unknown().end())
        ids.emplace_back(unknown->second.message_id.View());
    return ids;
}

std::optional<MailNumbers> SentHistories::BehindOldId(std::string_view message_id) {
    if (!old_ids_) ReadOldIds();
    auto const found = old_ids_->find(std::string(message_id));
    return found == old_ids_->end() ? std::nullopt : std::optional(found->second);
}

// A damaged history answers nothing.
void SentHistories::ReadOldIds() {
    old_ids_.emplace();
    for (int const mail : AllMails(session_)) try {
            MailHistory history(session_, mail);
            for (HistorySet const& row : RowsOf(history))
                if (!row.MessageID.IsEmpty() && !NumbersIn(row.MessageID.View()))
                    old_ids_->try_emplace(std::string(row.MessageID.View()),
                                          MailNumbers{mail, row.CustomerID});
        } catch (Failure const& failure) {
            session_.NoticeOnce(failure.what());
        }
}

std::optional<Trace::LastMail> SentHistories::LastMailTo(std::string const& address) {
    if (!recent_) ReadRecent();
    auto const found = recent_->find(AddressKey(address));
    if (found == recent_->end() || !found->second.is_only) return {};
    Recent const& last = found->second;
    return Trace::LastMail{{last.mail, last.customer}, last.message_id};
}

void SentHistories::TakeRecent(int mail, std::string const& since,
                               std::unordered_map<int, Recent>& of_customers) {
    MailHistory history(session_, mail);
    for (HistorySet const& row : RowsOf(history)) {
        std::string const time(DateText(row.LastSendDate).View());
        if (row.RetryNumber < 0 || time < since) continue;
        Recent& last = of_customers[row.CustomerID];
        if (time >= last.time) last = {mail, time, std::string(row.MessageID.View()), true, row.CustomerID};
    }
}

void SentHistories::ReadRecent() {
    recent_.emplace();
    std::unordered_map<int, Recent> of_customers;
    std::string const since = DaysAgo(recent_days);
    for (int const mail : AllMails(session_)) try {
            std::string const file = session_.DataDirectory() + "/" + MailFile(mail, "hist");
            if (!IsOlder(file, recent_days)) TakeRecent(mail, since, of_customers);
        } catch (Failure const& failure) {
            session_.NoticeOnce(failure.what());
        }
    for (auto const& [customer, last] : of_customers) {
        CString const address =
            session_.Customers().GetCustomerDataPinPoint(customer, customers::element_address);
        auto const [place, is_new] = recent_->try_emplace(AddressKey(address), last);
        if (!is_new) place->second.is_only = false;
    }
}

SendHistory& SentHistories::Change(int mail) {
    Opened<SendHistory>& opened = opened_.at(mail);
    opened.changed = true;
    return *opened.history;
}

void SentHistories::Save() {
    std::vector<MailResult> results;
    for (auto& [mail, opened] : opened_) {
        if (!opened.history) continue;
        if (opened.changed) opened.history->End();
        results.push_back(ResultOf(mail, StatusAfter(*opened.history), opened.history->Rows()));
    }
    opened_.clear();
    looked_at_.clear();
    // A mail that was changed after it was sent stays a draft.
    if (!results.empty()) PutInList(session_, results, {MailStatus::draft, MailStatus::deleted});
}

}  // namespace engine
