#pragma once

#include <string>
#include <vector>

#include "engine/environment/session.h"
#include "engine/mails/draft.h"
#include "engine/sending/mailing.h"

// What all ways of sending share: the sender, the servers, and the run itself.
namespace engine {

// `given`, or the sender of the settings when it is empty. Throws Failure when there is none.
Mailbox SenderOf(Session& session, Mailbox const& given = {});
// The server of the settings; `given` as "HOST:PORT" takes precedence. Throws Failure when there is none.
ServerSettings ServerOf(Session& session, std::string const& given);
// The mailbox of the settings, likewise.
MailboxSettings MailboxOf(Session& session, std::string const& given);

// How answers to a stored mail lead back, by the key of the environment (MessageKeyForSending) and the
// settings. Throws Failure.
WayBack WayBackOf(Session& session);

// "HOST:PORT", "[v6 address]:PORT", or a host alone, which leaves `port`. Throws Failure, naming `option`.
void ReadServer(std::string const& text, std::string const& option, CString& host, int& port);

// From now on the transfer log is written in the environment's folder.
void KeepTransferLog(Session& session);

// "1,2,3"; throws Failure (invalid_request), naming `option`, for anything else.
std::vector<int> IdsIn(std::string_view text, std::string_view option);

bool AcceptsDirectMail(CDatabaseEdit& customers, int id);
Standing StandingOf(OneCustomer const& customer);
// Removes the customers who accept no direct mail, and those to whom nothing is sent because of their address
// (mail_stops.h), and tells the numbers.
void DropRefusers(Session& session, std::vector<int>& ids);
// From the table as it is in memory.
Mailing::Fetch FetchFrom(CDatabaseEdit& customers);

// Runs a mailing from several connections (0: as many as the settings say), with its log in the environment's
// folder; tells the front end progress and totals.
void RunMailing(Session& session, Mailing& mailing, std::vector<int> const& ids, int threads);

}  // namespace engine
