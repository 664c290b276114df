#pragma once

#include <string>

#include "engine/environment/session.h"

// The customers of other programs: address books and shop exports, whose layouts the library knows.
namespace engine {

struct ProgramImport {
    std::string file;
    std::string from;              // becky, outlook, fudemame, corvane or belmora
    std::string converter;         // for fudemame
    std::string direct_mail;       // yes, no, new-yes or new-no; of address books
    std::string existing;          // overwrite, newer or keep; of shop exports
    bool take_attributes = false;  // of belmora
    std::string log;               // empty: beside the file
    bool restore_deleted = false;  // as CsvImport has it
    std::string consent{};         // likewise
    bool yes = false;              // every question of the import is answered with yes

    // Throws Failure (invalid_request) for options that do not go together.
    void Check() const;
    // Imports and saves; tells the front end progress, the counts, with those who refused mail or were
    // deleted and stay so, and where the log is. Throws Failure.
    void Run(Session& session) const;

  private:
    struct Counts {
        int imported = 0, errors = 0;
    };
    // The library's import, with its log into `log_file`; gives its result.
    int Import(Session& session, std::string const& log_file, Counts& counts) const;
};

}  // namespace engine
