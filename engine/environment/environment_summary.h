#pragma once

#include <cstddef>
#include <string>

#include "engine/environment/session.h"

namespace engine {

// How an environment is set up, and what it holds. All texts UTF-8.
struct EnvironmentSummary {
    std::string data_directory;
    std::string made, changed;  // date texts
    bool has_password = false;
    std::size_t customers = 0, deleted_customers = 0;
    std::string sender_name, sender_address;  // empty: not set
    std::string server, port;                 // for sending; no server: not set
};
// Loads the customers. Throws Failure.
EnvironmentSummary SummaryOf(Session& session);

}  // namespace engine
