#pragma once

#include <functional>
#include <set>
#include <string>

#include "engine/environment/session.h"

namespace engine {

// What files of an environment shall be.
struct NewState {
    std::string staged;  // host path of a folder on the same disk
    std::set<std::string>
        paths;  // files below the data directory: those in `staged` come from there, the others go
    // Called when the file of the customers is in its place and the change not yet complete; it may change
    // that file. May be empty.
    std::function<void()> customers_in_place = {};
};

// Brings files of an environment into an earlier state, as one change; with `what` it can be undone. Whatever
// the earlier state was, nobody who has a mail gets it again, no number is given twice, and nobody who
// refused is written to: a mail that is there now keeps its send history, its journal and what the list tells
// of the sending, neither the sequences nor the lists of refusals and of suspended addresses go back, and the
// key that signs mails stays unless it is damaged. The session is one for restoring. Throws Failure, and
// nothing is changed: environment_busy while a mail is being sent.
void PutInPlace(Session& session, NewState state, std::string const& what);

// The folder for a state in the making, in the data directory; it goes with the object, and what a process
// left of one when the environment is next opened to be changed. Throws Failure.
class StagingFolder {
  public:
    explicit StagingFolder(Session const& session);
    ~StagingFolder();
    StagingFolder(StagingFolder const&) = delete;
    StagingFolder& operator=(StagingFolder const&) = delete;
    std::string const& Path() const { return path_; }

  private:
    std::string path_;
};

}  // namespace engine
