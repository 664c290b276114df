#include <array>
#include <chrono>
#include <iostream>
#include <memory>

#include "cli/command.h"
#include "cli/progress.h"
#include "cli/terminal.h"
#include "engine/base/crossing.h"
#include "engine/base/digest.h"
#include "engine/base/failure.h"
#include "engine/receiving/answers.h"
#include "engine/receiving/inbox.h"
#include "engine/receiving/mail_source.h"
#include "engine/sending/sending.h"
#include "tessaly/text.h"

namespace cli {
namespace {

// Tables are saved as a whole: so seldom that it stays a small part of the work, however large they are.
constexpr int mails_between_saves = 500;
constexpr int work_to_one_of_saving = 10;
constexpr std::size_t kinds = static_cast<std::size_t>(AnswerKind::other) + 1;

struct Arguments {
    Access access;
    std::string env_file;
    std::string pop;
    std::string from_dir, mbox;
    bool keep = false;
    bool remove = false;
    bool dry_run = false;
};

std::unique_ptr<MailSource> SourceOf(Session& session, Arguments const& arguments) {
    if (!arguments.from_dir.empty()) return std::make_unique<FolderSource>(arguments.from_dir);
    if (!arguments.mbox.empty()) return std::make_unique<MboxSource>(arguments.mbox);
    KeepTransferLog(session);
    return MakePopSource(MailboxOf(session, arguments.pop));
}

// A text that has no ID of its transport is known by its Message-ID, or by all of it.
std::string IdOf(std::string const& text) {
    MimeFormatStruct header;
    const std::size_t end = text.find("\r\n\r\n");
    const std::size_t other_end = text.find("\n\n");
    MimeDecodeTool::MimeDecode(
        CString(std::string_view(text).substr(0, std::min(end, other_end))) + "\r\n\r\n", header);
    MailAnalyzer analyzer;
    analyzer.MailAnalysis(header);
    const CString id = analyzer.GetMessageID();
    return id.IsEmpty() ? "text " + DigestOf(text) : "id " + std::string(id.View());
}

class Receiving {
  public:
    Receiving(Session& session, Arguments const& arguments, MailSource& source)
        : arguments_(arguments),
          source_(source),
          inbox_(session.DataDirectory()),
          answers_(session, !arguments.dry_run),
          removes_(!arguments.keep && !arguments.dry_run &&
                   (arguments.remove || session.Setting("receive.delete") == "Y")) {}

    void Run() {
        ReceivedMail mail;
        auto const seen = [&](std::string const& id) { return inbox_.Seen(id); };
        {
            const Progress progress("受信", "通", source_.Total(), [&] { return taken_.load(); });
            while (!Interrupted() && source_.Next(mail, seen)) {
                Take(mail);
                if (++taken_ % mails_between_saves == 0 && Clock::now() >= next_save_) Save();
            }
        }
        Save();
        source_.End();
        Totals();
        if (Interrupted()) throw Failure("中断しました。同じコマンドで続きを受信できます。");
    }

  private:
    using Clock = std::chrono::steady_clock;

    void Take(ReceivedMail const& mail) {
        const std::string id = mail.id.empty() ? IdOf(mail.text) : mail.id;
        if (inbox_.Seen(id)) return;
        const Answer answer = answers_.Take(mail.text);
        ++counts_[static_cast<std::size_t>(answer.kind)];
        std::string kept;
        if (answer.keep && !arguments_.dry_run)
            kept = " (受信箱 " + std::to_string(inbox_.Keep(mail.text)) + ")";
        if (answer.postponed) {
            Say("このメールは送信中です。次の受信で反映します: メール " + std::to_string(answer.mail));
            ++postponed_;
            return source_.KeepLast();
        }
        const std::string line = Line(answer);
        if (answer.kind != AnswerKind::other) Say(line + kept);
        // A dry run does this too, in memory alone: it counts a mail that comes twice as the real run does.
        inbox_.Remember(id);
        char now[date_data_size];
        GetNowDateTime(now);
        inbox_.Record(std::string(now) + "\t" + KeyOf(answer.kind) + "\t" + std::to_string(answer.mail) +
                      "\t" + std::to_string(answer.customer) + "\t" + Out(OnOneLine(answer.from.View())) +
                      "\t" + answer.effect);
    }

    static std::string Line(Answer const& answer) {
        std::string line = NameOf(answer.kind);
        if (answer.mail >= 0) line += " メール" + std::to_string(answer.mail);
        if (answer.customer >= 0) line += " 顧客" + std::to_string(answer.customer);
        return line + " <" + Out(OnOneLine(answer.from.View())) + ">: " + answer.effect;
    }

    // The effects reach the disk first, then that the mails were seen, and only then does the server lose
    // them.
    void Save() {
        if (arguments_.dry_run) return;
        auto const begun = Clock::now();
        answers_.Save();
        inbox_.Save();
        if (removes_) source_.Remove();
        next_save_ = Clock::now() + work_to_one_of_saving * (Clock::now() - begun);
    }

    void Totals() const {
        for (std::size_t kind = 0; kind < kinds; ++kind)
            std::cout << (kind ? "、" : "") << NameOf(static_cast<AnswerKind>(kind)) << " "
                      << Grouped(counts_[kind]) << "通";
        if (postponed_ > 0) std::cout << " (うち次に回したもの " << Grouped(postponed_) << "通)";
        std::cout << (arguments_.dry_run ? " (--dry-run なので何も変えていません)" : "") << "\n";
    }

    Arguments const& arguments_;
    MailSource& source_;
    Inbox inbox_;
    Answers answers_;
    bool const removes_;
    std::atomic<std::uint64_t> taken_ = 0;
    std::array<std::uint64_t, kinds> counts_{};
    std::uint64_t postponed_ = 0;
    Clock::time_point next_save_;
};

void Receive(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file,
                    arguments.dry_run ? Session::For::reading : Session::For::changing);
    const std::unique_ptr<MailSource> source = SourceOf(session, arguments);
    Receiving(session, arguments, *source).Run();
}

}  // namespace

void AddReceiveCommand(CLI::App& program) {
    auto arguments = std::make_shared<Arguments>();
    CLI::App* command =
        AddOne(program, "receive", "返ってきたメール (エラー、開封、配信停止、登録) を受け取り、反映します",
               arguments, Receive);
    CLI::Option* pop = command->add_option("--pop", arguments->pop, "受信サーバー (なければ設定のもの)")
                           ->type_name("HOST:PORT");
    CLI::Option* folder = command
                              ->add_option("--from-dir", arguments->from_dir,
                                           "サーバーの代わりに、メールのファイルのディレクトリ")
                              ->type_name("DIR")
                              ->excludes(pop);
    command->add_option("--mbox", arguments->mbox, "サーバーの代わりに、mboxファイル")
        ->type_name("FILE")
        ->excludes(pop)
        ->excludes(folder);
    CLI::Option* keep = command->add_flag("--keep", arguments->keep, "受信したメールをサーバーに残します");
    command->add_flag("--delete", arguments->remove, "反映したメールをサーバーから消します")->excludes(keep);
    command->add_flag("--dry-run", arguments->dry_run, "何も変えずに、することだけを表示します");
}

}  // namespace cli
