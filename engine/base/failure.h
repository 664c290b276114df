#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

// How an operation ends that cannot be completed.
namespace engine {

// Where the reason lies, when it lies in a file or a text.
struct FailurePlace {
    std::string file = {};   // host path; empty: the text that was given
    std::size_t line = 0;    // from 1; 0: unknown
    std::size_t column = 0;  // characters, from 1; 0: unknown
};

// The sentence is for the sender: Japanese, UTF-8, what happened and what can be done. It may hold several
// lines, and is empty where notices have already told the reason.
class Failure : public std::runtime_error {
  public:
    // What a front end may tell apart. The name of each (NameOf) is the enumerator itself and never changes.
    enum Kind {
        // The request
        invalid_request,  // parts that do not go together or are missing, or a name that is no choice
                          // choose
        invalid_value,    // a value that its place does not take
        not_a_number,     // or one that is out of range
        not_a_date,
        invalid_address,    // no mail address
        invalid_condition,  // a condition that cannot be read or kept
        text_without_form,  // a character that code page 932 does not have
        unknown_setting,
        unknown_column,
        missing_setting,  // the work needs a setting that is empty
        no_recipients,
        no_conditions,  // a mail or group whose recipients were never chosen
        no_testers,
        not_confirmed,  // what cannot be undone, or looks like a mistake, needs an explicit consent
        // What it names
        environment_not_found,
        customer_not_found,
        group_not_found,
        tester_not_found,
        mail_not_found,
        received_mail_not_found,
        attachment_not_found,
        file_not_found,
        customer_exists,  // another customer has the mail address
        group_exists,     // another group has the name
        file_exists,      // nothing is written over
        deleted,          // has to be restored first
        not_deleted,      // cannot be restored
        erased,           // its data are gone for good
        // Access
        password_required,
        wrong_password,
        wrong_key,
        environment_busy,  // another process is changing it, or sends the mail
        protected_file,    // a result may not be written over the environment's own or other needed files
        // Files
        damaged_file,     // data of the environment that are not whole
        unreadable_file,  // given for input
        unsuitable_file,  // one of another form than the input has to have
        not_written,
        // Mails
        incomplete_mail,  // no subject or no text
        unsuitable_mail,  // its text, kind, terminals and attachments do not go together
        // The course of the work
        server_failed,  // not reached, or it refused the login or the work as a whole
        not_all_sent,   // some recipients were refused
        nothing_imported,
        declined,          // the front end answered a question with no
        stopped,           // the front end stopped the work; the same request goes on where it can
        operation_failed,  // the library refused; the sentence says why
    };

    Failure(Kind kind, std::string const& sentence, FailurePlace place = {})
        : std::runtime_error(sentence), kind_(kind), place_(std::move(place)) {}
    Kind GetKind() const noexcept { return kind_; }
    FailurePlace const& Place() const noexcept { return place_; }

  private:
    Kind kind_;
    FailurePlace place_;
};

// "no_recipients"
std::string_view NameOf(Failure::Kind kind);

}  // namespace engine
