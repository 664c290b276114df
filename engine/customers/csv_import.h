#pragma once

#include <string>

#include "engine/environment/session.h"

// Customers from a delimited text file.
namespace engine {

struct CsvImport {
    std::string file;
    std::string columns;
    std::string encoding = "auto";
    std::string delimiter = "auto";
    std::string quote = "\"";
    bool keep = false;             // known customers stay as they are
    bool replace = false;          // all present customers are removed
    bool no_header = false;        // the first record is a customer
    bool strict = false;           // values are checked as `customers add` checks them
    bool restore_deleted = false;  // deleted customers whom the file holds are live again
    std::string consent{};  // why those who refused get mail again where the file says Y; empty: they do not

    // Imports and saves. Tells the front end the assignment of the columns before and after, every refused
    // record with all reasons, what looks irregular, and the counts, with those who refused mail or were
    // deleted and stay so (kept_refusals.h). Refused records are written to FILE.refused.csv. Throws
    // Failure.
    void Run(Session& session) const;
};

}  // namespace engine
