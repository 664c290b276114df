#include "engine/receiving/mail_source.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/environment/session.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

constexpr std::uintmax_t largest_mail = 1 << 30;

// The library's texts end at a zero byte.
void ReplaceZeroBytes(std::string& text) { std::replace(text.begin(), text.end(), '\0', ' '); }

}  // namespace

FolderSource::FolderSource(std::string const& folder) {
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
    if (!file || fs::file_size(name, error) > largest_mail || error)
        throw Failure(Failure::unreadable_file, "メールのファイルを読めません: " + name);
    mail = {{}, {std::istreambuf_iterator<char>(file), {}}};
    ReplaceZeroBytes(mail.text);
    return true;
}

struct MboxSource::File {
    std::ifstream stream;
    std::string line;
    bool at_mail = false;
};

MboxSource::MboxSource(std::string const& name) : file_(std::make_unique<File>()) {
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
    mail = {};
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
        mail.text.append(line).append("\r\n");
        if (mail.text.size() > largest_mail)
            throw Failure(Failure::unsuitable_file, "mboxファイルのメールが大きすぎます。");
    }
    ReplaceZeroBytes(mail.text);
    return true;
}

namespace {

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
    std::uint64_t Total() const override { return static_cast<std::uint64_t>(Count()); }
    bool Next(ReceivedMail& mail, std::function<bool(std::string const&)> const& seen) override {
        for (; next_ < Count(); ++next_) {
            CString const unique_id = UniqueId(next_);
            mail.id = unique_id.IsEmpty() ? "" : "uidl " + std::string(unique_id.View());
            removable_.push_back(next_);
            if (!mail.id.empty() && seen(mail.id)) continue;
            mail.text = std::string(Fetch(next_++).View());
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
    // Throw Failure.
    virtual CString Fetch(int row) = 0;
    virtual void Delete(int row) = 0;

    int next_ = 0;
    std::vector<int> removable_;
};

class PlainPopSource : public PopSource {
  public:
    explicit PlainPopSource(MailboxSettings const& mailbox) {
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
    CString Fetch(int row) override {
        Require(client_.PopRetr(static_cast<unsigned long>(row)));
        return protocol::DotUnstuffed(client_.m_strMailText.View());
    }
    void Delete(int row) override { Require(client_.PopDelete(static_cast<unsigned long>(row))); }

    MailPop client_;
};

class SecurePopSource : public PopSource {
  public:
    SecurePopSource(MailboxSettings const& mailbox, Handshake* shown) {
        client_.Prepare(mailbox);
        bool const connected = Does(pops_connect);
        if (shown) *shown = client_.LastHandshake();
        Require(connected);
        count_ = POPS_Get(client_.Handle(), pops_count, 0, nullptr).Number();
        if (count_ > 0) Require(Does(pops_list));
        if (!client_.Numbers().empty()) count_ = static_cast<int>(client_.Numbers().size());
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
    CString Fetch(int row) override {
        Require(Does(pops_retrieve, Number(row)));
        return POPS_Get(client_.Handle(), pops_text, 0, nullptr).Text();
    }
    void Delete(int row) override { Require(Does(pops_delete, Number(row))); }

    SecureReceiver client_;
    int count_ = 0;
};

}  // namespace

std::unique_ptr<MailSource> MakePopSource(MailboxSettings const& mailbox, Handshake* shown) {
    if (mailbox.security == Security::none) return std::make_unique<PlainPopSource>(mailbox);
    return std::make_unique<SecurePopSource>(mailbox, shown);
}

}  // namespace engine
