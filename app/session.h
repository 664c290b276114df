#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "tessaly/customers.h"
#include "tessaly/environment.h"

// An open environment, as every command of the application uses it.
namespace app {

// What the person gave for opening environments.
struct Access {
    std::string key_file;       // empty: the built-in application key
    std::string password_file;  // empty: ask at the terminal
};

// The application key: the built-in one, or the first line of a file.
std::string ApplicationKey(Access const& access);
// The first line of a file; throws Failure naming `what`.
std::string FirstLineOf(std::string const& host_path, std::string_view what);

// Keeps others from changing the same environment, until it goes away. Throws Failure when it is taken for
// longer than a few seconds. The lock is free again whenever its process ends.
class EnvironmentLock {
  public:
    explicit EnvironmentLock(std::string const& data_directory);
    ~EnvironmentLock();
    EnvironmentLock(EnvironmentLock const&) = delete;
    EnvironmentLock& operator=(EnvironmentLock const&) = delete;

  private:
    int descriptor_ = -1;
};

class Session {
  public:
    enum class For { reading, changing };
    // Opens, asks for the start-up password where one is set, and loads the settings. Throws Failure.
    Session(Access const& access, std::string const& env_file, For use);
    ~Session();

    EnvManager& Environment() { return *environment_; }
    SystemOption& Options() { return *options_; }
    // Loaded at the first call.
    CDatabaseEdit& Customers();

    // Host paths.
    std::string const& EnvFile() const { return env_file_; }
    std::string const& DataDirectory() const { return data_directory_; }
    // For a command's own use; what an earlier command left there when it was killed is removed at opening.
    std::string WorkFile() const { return data_directory_ + "/DB/import.work"; }

    // By the name of the catalogue, in UTF-8.
    std::string Setting(std::string_view name);
    int NumberSetting(std::string_view name);
    void Set(std::string_view name, std::string_view value);

    // Both write a new file beside the old one and put it in its place in one step, so that a process that
    // dies in between leaves the old one whole.
    void SaveSettings();
    void SaveCustomers();

  private:
    void Open(Access const& access);
    void CheckPassword(Access const& access);

    std::string env_file_;
    std::string data_directory_;
    std::unique_ptr<EnvironmentLock> lock_;
    std::unique_ptr<EnvManager> environment_;
    std::unique_ptr<SystemOption> options_;
    std::unique_ptr<CDatabaseEdit> customers_;
    bool customers_loaded_ = false;
};

// Makes the environment file, its directories, a full settings record and an empty customer table. Throws
// Failure, and then nothing new is left behind.
void CreateEnvironment(Access const& access, std::string const& env_file, std::string const& new_password);

// What the library says of its last failure.
std::string TextOf(CErrMsg& error);

}  // namespace app
