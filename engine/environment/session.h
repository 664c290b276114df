#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "engine/base/file_identity.h"
#include "engine/base/front_end.h"
#include "engine/environment/access.h"
#include "engine/environment/folder_lock.h"
#include "engine/environment/table_reading.h"
#include "tessaly/customers.h"
#include "tessaly/environment.h"
#include "tessaly/mailstore.h"

namespace engine {

// An open environment.
class Session {
  public:
    enum class For {
        reading,
        changing,
        // Each of the two without reading a table, so that damaged ones do not stop it. What uses the
        // settings waits for LoadSettings.
        checking,
        restoring,
    };
    // Opens, asks for the start-up password where one is set, and loads the settings. An environment that
    // others can read becomes its owner's alone when it is opened to be changed. Throws Failure.
    Session(Access const& access, std::string const& env_file, For use);
    ~Session();

    // Gets the notices, results, progress and questions of the work with this environment.
    FrontEnd& Front() const { return front_; }
    void LoadSettings();
    // A notice that is given once in a session, however often.
    void NoticeOnce(std::string const& line);
    EnvManager& Environment() { return *environment_; }
    SystemOption& Options() { return *options_; }
    // Each loaded at the first call. Loading the list of mails adds a row for each mail folder without one,
    // and the library shows a message.
    CDatabaseEdit& Customers();
    CMailListViewer& Mails();
    ExtractListViewer& Groups();
    // Reads the customers from the disk again. After a Failure the table may hold a part of them.
    void ReadCustomersAgain();
    // The file that they were read from, as it stood before.
    FileIdentity const& CustomersRead() const { return customers_read_; }
    // The table that Customers loads, for objects that are bound to it before it is loaded.
    CDatabaseEdit& CustomerTable() { return *customers_; }

    // Calls `change` while no other process changes the environment. A session for changing holds that lock
    // all the time; one for reading takes it for the call, and undoes a
    // change that was cut off first. Where another process has it, it is waited for: a
    // few seconds, or as FolderLock::WhenFree.
    enum class Patience { brief, endless };
    void WhileOthersWait(std::function<void()> const& change, Patience patience = Patience::brief);

    // Host paths.
    std::string const& EnvFile() const { return env_file_; }
    std::string const& DataDirectory() const { return data_directory_; }
    // Whether a path leads into the data directory, or to the environment's file, key or password, links
    // resolved.
    bool Owns(std::string const& file) const;
    // The key of the tables; nothing for an environment without one.
    std::optional<CString> TableKey() const;
    // A temporary file for one operation.
    std::string WorkFile() const { return data_directory_ + "/DB/import.work"; }
    // Removes it and the output of an address book converter. Files that a killed process left are removed
    // when the environment is next opened for changing.
    void RemoveWorkFiles() const;

    // By the name of the catalogue, in UTF-8.
    std::string Setting(std::string_view name);
    int NumberSetting(std::string_view name);
    void Set(std::string_view name, std::string_view value);

    // Each writes a new file beside the old one and puts it in its place in one step, so that a process that
    // dies in between leaves the old one whole.
    void SaveSettings();
    void SaveCustomers();
    void SaveMails();
    void SaveGroups();
    // The list as other processes may have changed it since.
    void ReadMailsAgain();
    // Reads the list of mails again, changes it and saves it under the lock: other processes may have changed
    // the list since a session for reading loaded it.
    void ChangeMails(std::function<void(CMailListViewer&)> const& change,
                     Patience patience = Patience::brief);
    // As SaveSettings for any table, by its path below the data directory. `write` gets the path (of the
    // library) and the key to write with. Throws Failure, naming `what`.
    void SaveTable(std::string const& path, std::string const& what,
                   std::function<bool(CString const& path, char const* key)> const& write);

  private:
    void Open(Access const& access);
    void CheckPassword(Access const& access);
    std::string MailListFile() const;
    void MoveSequence();
    void ReadMails();
    // Throws Failure for a list that is not whole.
    bool HasMailWithoutRow();

    FrontEnd& front_;
    std::set<std::string> told_;
    std::string env_file_;
    std::vector<std::string> access_files_;
    std::string data_directory_;
    std::unique_ptr<FolderLock> lock_;
    std::unique_ptr<EnvManager> environment_;
    std::unique_ptr<SystemOption> options_;
    std::unique_ptr<CDatabaseEdit> customers_;
    bool customers_loaded_ = false;
    FileIdentity customers_read_;
    std::unique_ptr<CMailListViewer> mails_;
    std::unique_ptr<ExtractListViewer> groups_;
};

// The library's text for its last failure.
std::string TextOf(CErrMsg& error);

// Throws Failure for a file that cannot be read whole, naming `what` ("送信履歴" and the like) and the file.
[[noreturn]] void Damaged(std::string const& what, std::string const& path);

}  // namespace engine
