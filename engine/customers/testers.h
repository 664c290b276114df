#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "engine/environment/session.h"

// The test customers of an environment, who get a mail for checking before it is sent to the customers. All
// operations throw Failure, and then nothing is changed. A file that is not there is made.
namespace engine {

// In the order of their keys; CustomerID is the key.
std::vector<OneCustomer> Testers(Session& session);

// Chosen columns (Elements::NamedList) of all of them, in the order of the file, in UTF-8.
struct TesterTable {
    std::vector<std::string> titles;
    std::vector<std::vector<std::string>> rows;
};
TesterTable ListTesters(Session& session, std::string_view columns);

// From "TITLE=VALUE" texts (TakeValues). The session is one for changing.
struct NewTester {
    int key;
    std::string address;
};
NewTester AddTester(Session& session, std::vector<std::string> const& values);
// All of them or none. The session is one for changing.
void DeleteTesters(Session& session, std::vector<int> const& keys);

}  // namespace engine
