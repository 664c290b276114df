#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "engine/environment/session.h"
#include "engine/mails/mail_store.h"

// The mail that a customer would get. Texts UTF-8; the operations throw Failure.
namespace engine {

struct PreviewRequest {
    std::optional<int> mail;  // a stored mail, a deleted one too; none: a draft
    std::string draft;        // its file
    int customer = -1;
    std::optional<TermType> terminal;  // in place of the one by the customer's address
    bool page = false;                 // the HTML as a page of its own
};

struct MailPreview {
    struct Address {
        std::string name, address;
    };
    Address from, to;
    std::optional<Address> reply_to;
    std::string subject, body;  // line ends LF
    std::vector<std::string> attachments;
    std::string page;  // see PageOf
};
MailPreview PreviewOf(Access const& access, std::string const& env_file, PreviewRequest const& request);

// The longest text that merging gives to the recipients of one terminal.
struct LongestText {
    TermType terminal;
    enum Part { subject, body } part;
    int bytes;  // in code page 932, kana widened
    int customer;
    std::string address;
    std::size_t recipients;  // of the terminal
};
// By terminal, those with recipients; with `only` that one alone.
std::vector<LongestText> LongestTexts(Session& session, int mail, std::optional<TermType> only);

}  // namespace engine
