#pragma once

#include <string>

#include "tessaly/environment/compound_key_manager.h"
#include "tessaly/environment/env_manager.h"
#include "tests/platform/scratch_folder.h"
#include "tests/support/file_content.h"

inline char const* const app_key = "アプリの鍵";

// A new environment in a folder of its own.
struct TestEnvironment {
    TestEnvironment() {
        platform::MakeDirectory(folder.Path("店"));
        EnvManager::MakeDefaultEnvFile(file, app_key);
    }
    // Puts one row in the environment file.
    void WriteRow(std::string const& compound, std::string const& entry, std::string const& renewal) const {
        WriteTable(file, '"' + compound + "\",\"" + entry + "\",\"" + renewal + "\"\r\n", app_key);
    }

    ScratchFolder const folder;
    CString const file = folder.Path("店.tsl");
};
