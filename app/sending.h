#pragma once

#include <string>
#include <vector>

#include "draft.h"
#include "mailing.h"
#include "session.h"

// What every way of sending needs: who sends, through which server, and the run itself.
namespace app {

// `given`, or the sender of the settings when it is empty. Throws Failure when there is none.
Mailbox SenderOf(Session& session, Mailbox const& given = {});
// The server of the settings; `given` as "HOST:PORT" goes before it. Throws Failure when there is none.
ServerSettings ServerOf(Session& session, std::string const& given);

// The mailbox of the settings, likewise.
MailboxSettings MailboxOf(Session& session, std::string const& given);

// "HOST:PORT", "[v6 address]:PORT", or a host alone, which leaves `port`. Throws Failure, naming `option`.
void ReadServer(std::string const& text, std::string const& option, CString& host, int& port);

// Lets the transfer log of what follows go into the environment's folder.
void KeepTransferLog(Session& session);

// Shows what was found in a draft, or in what else it is named; throws Failure when something was, unless
// `anyway`.
void ShowFindings(std::vector<Finding> const& findings, bool anyway, char const* where = "下書き");

// "1,2,3"; throws Failure (usage), naming `option`, for anything else.
std::vector<int> IdsIn(std::string_view text, std::string_view option);

bool AcceptsDirectMail(CDatabaseEdit& customers, int id);
// Drops those who accept no direct mail, and says how many they were.
void DropRefusers(CDatabaseEdit& customers, std::vector<int>& ids);
Mailing::Fetch FetchFrom(CDatabaseEdit& customers);

// Runs a mailing from several connections (0: as many as the settings say), with its log in the environment's
// folder; shows progress, every mail that did not go out, and the totals.
void RunMailing(Session& session, Mailing& mailing, std::vector<int> const& ids, int threads);
void ShowFailure(Delivery const& delivery);

}  // namespace app
