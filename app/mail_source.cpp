#include "mail_source.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "crossing.h"
#include "failure.h"

namespace fs = std::filesystem;

namespace app {
namespace {

constexpr std::uintmax_t largest_mail = 1 << 30;

// The library's texts end at a zero byte.
void ReplaceZeroBytes(std::string& text) { std::replace(text.begin(), text.end(), '\0', ' '); }

}  // namespace

FolderSource::FolderSource(std::string const& folder) {
    std::error_code error;
    for (auto const& entry : fs::directory_iterator(folder, error))
        if (entry.is_regular_file()) files_.push_back(entry.path().string());
    if (error) throw Failure("ディレクトリを読めません: " + folder);
    std::sort(files_.begin(), files_.end());
}

bool FolderSource::Next(ReceivedMail& mail, std::function<bool(std::string const&)> const&) {
    if (next_ == files_.size()) return false;
    std::string const& name = files_[next_++];
    std::ifstream file(name, std::ios::binary);
    std::error_code error;
    if (!file || fs::file_size(name, error) > largest_mail || error)
        throw Failure("メールのファイルを読めません: " + name);
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
    if (!file_->stream || fs::is_directory(name)) throw Failure("mboxファイルを読めません: " + name);
    file_->at_mail = std::getline(file_->stream, file_->line) && file_->line.starts_with("From ");
    if (!file_->at_mail && !file_->line.empty()) throw Failure("mboxファイルではありません: " + name);
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
        const std::size_t quotes = line.find_first_not_of('>');
        if (quotes != line.npos && quotes > 0 && line.substr(quotes).starts_with("From "))
            line.remove_prefix(1);
        if (line.ends_with('\r')) line.remove_suffix(1);
        mail.text.append(line).append("\r\n");
        if (mail.text.size() > largest_mail) throw Failure("mboxファイルのメールが大きすぎます。");
    }
    ReplaceZeroBytes(mail.text);
    return true;
}

PopSource::PopSource(Settings const& settings) {
    client_.SetTimeOutTime(settings.timeout_milliseconds);
    client_.SetTimeOutTimeBeforeConnect(settings.timeout_milliseconds);
    bool const ready = client_.PopLogin(settings.user, settings.password, settings.host, settings.port,
                                        settings.apop ? MailPop::type_apop : MailPop::type_user_pass) &&
                       client_.PopListUidl();
    if (!ready)
        throw Failure("受信サーバーにログインできません。\n" + OnOneLine(TextOf(client_.GetErrMsg())));
}

bool PopSource::Next(ReceivedMail& mail, std::function<bool(std::string const&)> const& seen) {
    for (; next_ < client_.GetMailNumber(); ++next_) {
        const std::string unique_id(client_.m_aMailList[next_].Uidl.View());
        mail.id = unique_id.empty() ? "" : "uidl " + unique_id;
        removable_.push_back(next_);
        if (!mail.id.empty() && seen(mail.id)) continue;
        if (!client_.PopRetr(static_cast<unsigned long>(next_)))
            throw Failure("メールを受信できませんでした。\n" + OnOneLine(TextOf(client_.GetErrMsg())));
        mail.text = std::string(platform::DotUnstuffed(client_.m_strMailText.View()).View());
        ++next_;
        return true;
    }
    return false;
}

void PopSource::Remove() {
    for (int const row : removable_)
        if (!client_.PopDelete(static_cast<unsigned long>(row)))
            throw Failure("サーバーからメールを消せませんでした。\n" +
                          OnOneLine(TextOf(client_.GetErrMsg())));
    removable_.clear();
}

}  // namespace app
