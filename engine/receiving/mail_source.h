#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "engine/sending/secure_clients.h"
#include "engine/sending/server_settings.h"
#include "tessaly/storage.h"

// Where received mail comes from. Each source gives its mails one at a time, so that memory holds one of
// them, and fetches none of more than `largest` bytes.
namespace engine {

struct ReceivedMail {
    std::string id{};           // identifies the mail; empty where only its text does
    CString text{};             // as received, without the escapes of the transport and with no zero byte
    std::string place{};        // what the mail is called at its source
    std::uint64_t size = 0;     // bytes at its source
    bool is_too_large = false;  // it was not fetched, and has no text
};

class MailSource {
  public:
    virtual ~MailSource() = default;
    // The number of mails; 0: unknown.
    virtual std::uint64_t Total() const = 0;
    // The next mail that `seen` does not know by its ID; false at the end. Throws Failure.
    virtual bool Next(ReceivedMail& mail, std::function<bool(std::string const& id)> const& seen) = 0;
    // Removes the mails that were given or passed over so far from the source. Throws Failure.
    virtual void Remove() {}
    // Exempts the last mail from Remove.
    virtual void KeepLast() {}
    virtual void End() {}
};

// The files of a folder, by name.
class FolderSource : public MailSource {
  public:
    FolderSource(std::string const& folder, std::uint64_t largest);
    std::uint64_t Total() const override { return files_.size(); }
    bool Next(ReceivedMail& mail, std::function<bool(std::string const&)> const& seen) override;

  private:
    std::vector<std::string> files_;
    std::size_t next_ = 0;
    std::uint64_t const largest_;
};

// A file of many mails, each behind a line "From ..." (mboxrd).
class MboxSource : public MailSource {
  public:
    MboxSource(std::string const& name, std::uint64_t largest);
    ~MboxSource() override;
    std::uint64_t Total() const override { return 0; }
    bool Next(ReceivedMail& mail, std::function<bool(std::string const&)> const& seen) override;

  private:
    struct File;
    std::unique_ptr<File> file_;
    std::uint64_t const largest_;
};

// A mailbox on a server, plain or secured. `shown`, unless null, gets the data of the TLS handshake. Throws
// Failure when it cannot be opened.
std::unique_ptr<MailSource> MakePopSource(MailboxSettings const& mailbox, std::uint64_t largest,
                                          Handshake* shown = nullptr);

}  // namespace engine
