#pragma once

#include <string>
#include <string_view>
#include <vector>

// The table files of an environment, told by their names.
namespace engine {

struct TableKind {
    enum Form {
        settings,
        customers,
        testers,
        mails,
        groups,
        texts,
        conditions,
        recipients,
        history,
        attachments
    };
    Form form;
    std::string_view start;   // of the file's name
    bool numbered;            // a number follows in the name
    std::vector<int> widths;  // numbers of cells of a row
    bool ids;                 // the first cell of a row is a number, unless the file holds one row or texts
    char const* name;         // for the sender
};

// By the file's name, with or without a path; null for a file that is no table of an environment.
TableKind const* TableKindOf(std::string_view path);

}  // namespace engine
