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
    bool keep = false;       // known customers stay as they are
    bool replace = false;    // all present customers go
    bool no_header = false;  // the first record is a customer
    bool strict = false;     // as `customers add` judges

    // Imports and saves. Tells the front end which columns go where before and after, every record that is
    // refused with all reasons, what else is odd, and the counts; the records refused go into
    // FILE.refused.csv. Throws Failure.
    void Run(Session& session) const;
};

}  // namespace engine
