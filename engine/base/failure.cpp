#include "engine/base/failure.h"

namespace engine {

std::string_view NameOf(Failure::Kind kind) {
    switch (kind) {
        case Failure::invalid_request: return "invalid_request";
        case Failure::invalid_value: return "invalid_value";
        case Failure::not_a_number: return "not_a_number";
        case Failure::not_a_date: return "not_a_date";
        case Failure::invalid_address: return "invalid_address";
        case Failure::invalid_condition: return "invalid_condition";
        case Failure::text_without_form: return "text_without_form";
        case Failure::unknown_setting: return "unknown_setting";
        case Failure::unknown_column: return "unknown_column";
        case Failure::missing_setting: return "missing_setting";
        case Failure::no_recipients: return "no_recipients";
        case Failure::no_conditions: return "no_conditions";
        case Failure::no_testers: return "no_testers";
        case Failure::not_confirmed: return "not_confirmed";
        case Failure::environment_not_found: return "environment_not_found";
        case Failure::customer_not_found: return "customer_not_found";
        case Failure::group_not_found: return "group_not_found";
        case Failure::tester_not_found: return "tester_not_found";
        case Failure::mail_not_found: return "mail_not_found";
        case Failure::received_mail_not_found: return "received_mail_not_found";
        case Failure::attachment_not_found: return "attachment_not_found";
        case Failure::file_not_found: return "file_not_found";
        case Failure::customer_exists: return "customer_exists";
        case Failure::group_exists: return "group_exists";
        case Failure::file_exists: return "file_exists";
        case Failure::deleted: return "deleted";
        case Failure::not_deleted: return "not_deleted";
        case Failure::erased: return "erased";
        case Failure::password_required: return "password_required";
        case Failure::wrong_password: return "wrong_password";
        case Failure::wrong_key: return "wrong_key";
        case Failure::environment_busy: return "environment_busy";
        case Failure::protected_file: return "protected_file";
        case Failure::damaged_file: return "damaged_file";
        case Failure::unreadable_file: return "unreadable_file";
        case Failure::unsuitable_file: return "unsuitable_file";
        case Failure::not_written: return "not_written";
        case Failure::incomplete_mail: return "incomplete_mail";
        case Failure::unsuitable_mail: return "unsuitable_mail";
        case Failure::server_failed: return "server_failed";
        case Failure::not_all_sent: return "not_all_sent";
        case Failure::nothing_imported: return "nothing_imported";
        case Failure::declined: return "declined";
        case Failure::stopped: return "stopped";
        case Failure::operation_failed: return "operation_failed";
    }
    return {};
}

}  // namespace engine
