#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "engine/sending/secure_clients.h"
#include "engine/sending/server_settings.h"

// Where received mail comes from. Each source gives its mails one at a time, so that memory holds one of
// them.
namespace engine {

struct ReceivedMail {
    std::string id;    // by which the mail is known again; empty when only its text can tell
    std::string text;  // as it came, without what the transport added
};

class MailSource {
  public:
    virtual ~MailSource() = default;
    // 0 when it is not known.
    virtual std::uint64_t Total() const = 0;
    // The next mail that `seen` does not know by its ID; false at the end. Throws Failure.
    virtual bool Next(ReceivedMail& mail, std::function<bool(std::string const& id)> const& seen) = 0;
    // Those given so far, and those passed over, need not be kept there any more. Throws Failure.
    virtual void Remove() {}
    // The last mail given stays there.
    virtual void KeepLast() {}
    virtual void End() {}
};

// The files of a folder, by name.
class FolderSource : public MailSource {
  public:
    explicit FolderSource(std::string const& folder);
    std::uint64_t Total() const override { return files_.size(); }
    bool Next(ReceivedMail& mail, std::function<bool(std::string const&)> const& seen) override;

  private:
    std::vector<std::string> files_;
    std::size_t next_ = 0;
};

// A file of many mails, each behind a line "From ..." (mboxrd).
class MboxSource : public MailSource {
  public:
    explicit MboxSource(std::string const& name);
    ~MboxSource() override;
    std::uint64_t Total() const override { return 0; }
    bool Next(ReceivedMail& mail, std::function<bool(std::string const&)> const& seen) override;

  private:
    struct File;
    std::unique_ptr<File> file_;
};

// A mailbox on a server, plain or secured. `shown`, unless null, becomes what the server showed of itself.
// Throws Failure when it cannot be opened.
std::unique_ptr<MailSource> MakePopSource(MailboxSettings const& mailbox, Handshake* shown = nullptr);

}  // namespace engine
