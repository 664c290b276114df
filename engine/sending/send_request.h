#pragma once

#include <optional>
#include <string>

#include "engine/environment/session.h"
#include "engine/mails/mail_store.h"

namespace engine {

// What is to be sent: a stored mail to its recipients or to the test customers, or a draft.
struct SendRequest {
    std::optional<int> mail;  // none: a draft
    std::string draft;        // its file
    std::string to = "all";   // of a draft: all who accept direct mail, or customer IDs, divided by commas
    std::string smtp;         // empty: the server of the settings
    int threads = 0;          // 0: as many as the settings say
    std::string report;       // a CSV file of outcomes; empty: none
    bool resume = false;      // goes on with the report
    bool retry = false;       // those who did not get the mail and may be tried again
    bool test = false;        // to the test customers, without a trace
    bool ask_receipt = false;
    bool dry_run = false;  // only tells who would get it
    bool force = false;    // whatever was found in the draft

    // Sends, and tells the front end how many recipients are left out, every mail that was not sent, and the
    // totals. Throws Failure for options that do not go together, when there are no recipients, and when the
    // mailing stopped or a mail was not sent.
    void Run(Access const& access, std::string const& env_file) const;
};

}  // namespace engine
