#pragma once

#include <string>

#include "platform/file.h"
#include "tessaly/environment/env_manager.h"
#include "tests/environment/test_environment.h"

// An open environment with an empty list of mails.
struct MailEnvironment : TestEnvironment {
    MailEnvironment() {
        platform::MakeDirectory(Path("MAIL"));
        Put("MAIL\\maillist.dat", "");
        env.InitEnvFileInfo(file, app_key, 0);
    }
    CString Path(CString const& below) const { return folder.Path("店\\") + below; }
    bool Put(CString const& below, std::string const& content) const {
        return platform::WriteWholeFile(Path(below), content);
    }
    bool Has(CString const& below) const { return platform::IsFile(Path(below)); }
    std::string Content(CString const& below) const { return ContentOf(Path(below)); }
    // Puts an empty folder in the place of a file.
    bool Block(CString const& below) const {
        platform::RemoveFile(Path(below));
        return platform::MakeDirectory(Path(below));
    }

    EnvManager env;
};
