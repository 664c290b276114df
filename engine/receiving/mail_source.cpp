#include "engine/receiving/mail_source.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <utility>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/environment/session.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

constexpr std::string_view line_end = "\r\n";

// The library's texts end at a zero byte.
CString WithoutZeroBytes(std::string text) {
    std::replace(text.begin(), text.end(), '\0', ' ');
    return CString(std::string_view(text));
}

}  // namespace

FolderSource::FolderSource(std::string const& folder, std::uint64_t largest) : largest_(largest) {
    std::error_code error;
    for (auto const& entry : fs::directory_iterator(folder, error))
        if (entry.is_regular_file()) files_.push_back(entry.path().string());
    if (error) throw Failure(Failure::unreadable_file, "ディレクトリを読めません: " + folder);
    std::sort(files_.begin(), files_.end());
}

bool FolderSource::Next(ReceivedMail& mail, std::function<bool(std::string const&)> const&) {
    if (next_ == files_.size()) return false;
    std::string const& name = files_[next_++];
    std::ifstream file(name, std::ios::binary);
    std::error_code error;
    mail = {.place = name, .size = fs::file_size(name, error)};
    if (!file || error) throw Failure(Failure::unreadable_file, "メールのファイルを読めません: " + name);
    mail.is_too_large = mail.size > largest_;
    if (!mail.is_too_large) mail.text = WithoutZeroBytes({std::istreambuf_iterator<char>(file), {}});
    return true;
}

struct MboxSource::File {
    std::ifstream stream;
    std::string line;
    bool at_mail = false;
    int number = 0;
};

MboxSource::MboxSource(std::string const& name, std::uint64_t largest)
    : file_(std::make_unique<File>()), largest_(largest) {
    file_->stream.open(name, std::ios::binary);
    if (!file_->stream || fs::is_directory(name))
        throw Failure(Failure::unreadable_file, "mboxファイルを読めません: " + name);
    file_->at_mail = std::getline(file_->stream, file_->line) && file_->line.starts_with("From ");
    if (!file_->at_mail && !file_->line.empty())
        throw Failure(Failure::unsuitable_file, "mboxファイルではありません: " + name);
}

MboxSource::~MboxSource() = default;

bool MboxSource::Next(ReceivedMail& mail, std::function<bool(std::string const&)> const&) {
    if (!file_->at_mail) return false;
    mail = {.place = std::to_string(++file_->number) + "番目のメール"};
    std::string text;
    file_->at_mail = false;
    while (std::getline(file_->stream, file_->line)) {
        std::string_view line = file_->line;
        if (line.starts_with("From ")) {
            file_->at_mail = true;
            break;
        }
        std::size_t const quotes = line.find_first_not_of('>');
        if (quotes != line.npos && quotes > 0 && line.substr(quotes).starts_with("From "))
            line.remove_prefix(1);
        if (line.ends_with('\r')) line.remove_suffix(1);
        mail.size += line.size() + line_end.size();
        if (mail.size <= largest_) text.append(line).append(line_end);
    }
    mail.is_too_large = mail.size > largest_;
    if (!mail.is_too_large) mail.text = WithoutZeroBytes(std::move(text));
    return true;
}

namespace {

// A size as a server told it; the clients give one beyond their range as a negative number.
std::uint64_t Bytes(long size) {
    return size < 0 ? std::numeric_limits<std::uint64_t>::max() : static_cast<std::uint64_t>(size);
}

// The sentence for the step that failed.
char const* SentenceOf(protocol::PopPhase phase) {
    switch (phase) {
        case protocol::PopPhase::message: return "メールを受信できませんでした。\n";
        case protocol::PopPhase::deletion:
        case protocol::PopPhase::quit: return "サーバーからメールを消せませんでした。\n";
        default: return "受信サーバーにログインできません。\n";
    }
}

// A mailbox as a list of messages, some with a unique ID.
class PopSource : public MailSource {
  public:
    explicit PopSource(std::uint64_t largest) : largest_(largest) {}
    std::uint64_t Total() const override { return static_cast<std::uint64_t>(Count()); }
    bool Next(ReceivedMail& mail, std::function<bool(std::string const&)> const& seen) override {
        for (; next_ < Count(); ++next_) {
            CString const unique_id = UniqueId(next_);
            mail = {.id = unique_id.IsEmpty() ? "" : "uidl " + std::string(unique_id.View()),
                    .place = "サーバーの" + std::to_string(next_ + 1) + "番目のメール",
                    .size = Size(next_)};
            removable_.push_back(next_);
            if (!mail.id.empty() && seen(mail.id)) continue;
            mail.is_too_large = mail.size > largest_;
            if (!mail.is_too_large) mail.text = Fetch(next_);
            ++next_;
            return true;
        }
        return false;
    }
    void Remove() override {
        for (int const row : removable_) Delete(row);
        removable_.clear();
    }
    void KeepLast() override { removable_.pop_back(); }

  protected:
    // Throws Failure for what was not done. A server that gives no unique IDs still gives its mails by their
    // numbers.
    void Require(bool done) {
        protocol::PopFailure const& failure = LastFailure();
        if (!done && !failure.IsRefusalAt(protocol::PopPhase::unique_ids))
            throw Failure(Failure::server_failed, SentenceOf(failure.phase) + Reason());
    }

  private:
    // Of the client.
    virtual protocol::PopFailure const& LastFailure() const = 0;
    virtual std::string Reason() = 0;
    virtual int Count() const = 0;
    virtual CString UniqueId(int row) const = 0;
    // As the server says.
    virtual std::uint64_t Size(int row) const = 0;
    // Throw Failure.
    virtual CString Fetch(int row) = 0;
    virtual void Delete(int row) = 0;

    std::uint64_t const largest_;
    int next_ = 0;
    std::vector<int> removable_;
};

class PlainPopSource : public PopSource {
  public:
    PlainPopSource(MailboxSettings const& mailbox, std::uint64_t largest) : PopSource(largest) {
        client_.SetTimeOutTime(mailbox.timeout_milliseconds);
        client_.SetTimeOutTimeBeforeConnect(mailbox.timeout_milliseconds);
        Require(client_.PopLogin(mailbox.user, mailbox.password, mailbox.host, mailbox.port,
                                 mailbox.apop ? MailPop::type_apop : MailPop::type_user_pass));
        // An interrupted list differs from a list without unique IDs.
        Require(client_.PopListUidl() && client_.GetFailure().phase == protocol::PopPhase::none);
    }
    void End() override { client_.PopLogout(); }

  private:
    protocol::PopFailure const& LastFailure() const override { return client_.GetFailure(); }
    std::string Reason() override { return OnOneLine(TextOf(client_.GetErrMsg())); }
    int Count() const override { return client_.GetMailNumber(); }
    CString UniqueId(int row) const override { return client_.m_aMailList[row].Uidl; }
    std::uint64_t Size(int row) const override { return Bytes(client_.m_aMailList[row].Size); }
    CString Fetch(int row) override {
        Require(client_.PopRetr(static_cast<unsigned long>(row)));
        CString const text = std::exchange(client_.m_strMailText, {});
        return protocol::DotUnstuffed(text.View());
    }
    void Delete(int row) override { Require(client_.PopDelete(static_cast<unsigned long>(row))); }

    MailPop client_;
};

class SecurePopSource : public PopSource {
  public:
    SecurePopSource(MailboxSettings const& mailbox, std::uint64_t largest, Handshake* shown)
        : PopSource(largest) {
        client_.Prepare(mailbox);
        bool const connected = Does(pops_connect);
        if (shown) *shown = client_.LastHandshake();
        Require(connected);
        count_ = POPS_Get(client_.Handle(), pops_count, 0, nullptr).Number();
        if (count_ > 0) Require(Does(pops_list));
        if (!client_.Numbers().empty()) count_ = static_cast<int>(client_.Numbers().size());
        if (count_ > 0) Require(Does(pops_list_sizes));
    }
    void End() override { Require(Does(pops_disconnect)); }

  private:
    bool Does(int method) { return client_.Do(method) == platform::component_ok; }
    bool Does(int method, int number) { return client_.Do(method, number) == platform::component_ok; }
    protocol::PopFailure const& LastFailure() const override { return client_.GetFailure(); }
    std::string Reason() override { return client_.Reason(); }
    int Count() const override { return count_; }
    int Number(int row) const {
        return client_.Numbers().empty() ? row + 1 : client_.Numbers()[static_cast<std::size_t>(row)];
    }
    CString UniqueId(int row) const override {
        return client_.Numbers().empty() ? CString() : client_.GetUIDs().GetAt(row);
    }
    std::uint64_t Size(int row) const override {
        return Bytes(POPS_Get(client_.Handle(), pops_size, Number(row), nullptr).Number());
    }
    CString Fetch(int row) override {
        Require(Does(pops_retrieve, Number(row)));
        return POPS_Get(client_.Handle(), pops_text, 0, nullptr).Text();
    }
    void Delete(int row) override { Require(Does(pops_delete, Number(row))); }

    SecureReceiver client_;
    int count_ = 0;
};

}  // namespace

std::unique_ptr<MailSource> MakePopSource(MailboxSettings const& mailbox, std::uint64_t largest,
                                          Handshake* shown) {
    if (mailbox.security == Security::none) return std::make_unique<PlainPopSource>(mailbox, largest);
    return std::make_unique<SecurePopSource>(mailbox, largest, shown);
}

}  // namespace engine
