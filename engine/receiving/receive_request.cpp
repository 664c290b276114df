#include "engine/receiving/receive_request.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "engine/base/crossing.h"
#include "engine/base/date_text.h"
#include "engine/base/digest.h"
#include "engine/base/failure.h"
#include "engine/base/shown_text.h"
#include "engine/base/stoppable_waits.h"
#include "engine/base/whole_number.h"
#include "engine/receiving/answers.h"
#include "engine/receiving/inbox.h"
#include "engine/receiving/mail_source.h"
#include "engine/sending/sending.h"

namespace engine {
namespace {

// Tables are saved as a whole, so seldom that saving stays a small part of the work whatever their size.
constexpr int mails_between_saves = 500;
constexpr int work_to_one_of_saving = 10;

std::unique_ptr<MailSource> SourceOf(Session& session, ReceiveRequest const& request) {
    std::uint64_t const largest = static_cast<std::uint64_t>(session.NumberSetting("receive.largest")) << 20;
    if (!request.from_dir.empty()) return std::make_unique<FolderSource>(request.from_dir, largest);
    if (!request.mbox.empty()) return std::make_unique<MboxSource>(request.mbox, largest);
    KeepTransferLog(session);
    return MakePopSource(MailboxOf(session, request.pop), largest);
}

// A mail without an ID of its transport is identified by its text.
std::string IdOf(ReceivedMail const& mail) {
    return mail.id.empty() ? "text " + DigestOf(mail.text.View()) : mail.id;
}

constexpr char const* stopped_sentence = "中断しました。同じコマンドで続きを受信できます。";

// Works with a server. false instead of its failure when the front end has stopped the work, which ends the
// waits for the server.
bool Completed(FrontEnd const& front, std::function<void()> const& work) {
    try {
        work();
        return true;
    } catch (Failure const& failure) {
        if (failure.GetKind() != Failure::server_failed || !front.Stopped()) throw;
        return false;
    }
}

class Receiving {
  public:
    Receiving(Session& session, ReceiveRequest const& request, MailSource& source)
        : session_(session),
          front_(session.Front()),
          request_(request),
          source_(source),
          inbox_(session.DataDirectory()),
          answers_(session, !request.dry_run),
          removes_(!request.keep && !request.dry_run &&
                   (request.remove || session.Setting("receive.delete") == "Y")) {}

    void Run() {
        ReceivedMail mail;
        {
            auto const progress =
                front_.ShowProgress("受信", "通", source_.Total(), [&] { return taken_.load(); });
            while (Next(mail)) {
                Take(mail);
                if (++taken_ % mails_between_saves == 0 && Clock::now() >= next_save_) Save();
            }
        }
        Save();
        if (!front_.Stopped()) Completed(front_, [&] { source_.End(); });
        Totals();
        if (front_.Stopped()) throw Failure(Failure::stopped, stopped_sentence);
    }

  private:
    using Clock = std::chrono::steady_clock;

    bool Next(ReceivedMail& mail) {
        bool found = false;
        auto const seen = [&](std::string const& id) { return inbox_.Seen(id); };
        return !front_.Stopped() && Completed(front_, [&] { found = source_.Next(mail, seen); }) && found;
    }

    void Take(ReceivedMail const& mail) {
        if (mail.is_too_large) return LeaveThere(mail);
        std::string const id = IdOf(mail);
        if (inbox_.Seen(id)) {
            ++repeated_;
            return;
        }
        std::vector<Answer> const answers = answers_.Take(mail.text);
        bool const keeps =
            std::any_of(answers.begin(), answers.end(), [](auto const& one) { return one.keep; });
        int const kept = keeps && !request_.dry_run ? inbox_.Keep(mail.text.View()) : 0;
        for (Answer const& answer : answers) ++counts_[static_cast<std::size_t>(answer.kind)];
        for (Answer const& answer : answers)
            if (answer.postponed) return Postpone(answer);
        for (Answer const& answer : answers) {
            if (!answer.effect.empty())
                front_.Notice(ShownLine(Line(answer)) +
                              (kept > 0 ? " (受信箱 " + std::to_string(kept) + ")" : ""));
            inbox_.Record({Out(NowText()), answer.kind, answer.mail, answer.customer,
                           ShownLine(Out(answer.from)), ShownLine(answer.effect), kept});
        }
        // Also in a dry run, in memory only, so that it counts a repeated mail once.
        inbox_.Remember(id);
    }

    void Postpone(Answer const& answer) {
        front_.Notice("次の受信で反映します: メール " + std::to_string(answer.mail) + "\n" + answer.effect);
        ++postponed_;
        source_.KeepLast();
    }

    void LeaveThere(ReceivedMail const& mail) {
        front_.Notice("大きすぎるので受け取りません: " + mail.place + " (" + Grouped(mail.size >> 20) +
                      " MiB、設定 receive.largest は " + session_.Setting("receive.largest") + " MiB)");
        ++too_large_;
        source_.KeepLast();
    }

    static std::string Line(Answer const& answer) {
        std::string line = WordOf(answer.kind);
        if (answer.mail >= 0) line += " メール" + std::to_string(answer.mail);
        if (answer.customer >= 0) line += " 顧客" + std::to_string(answer.customer);
        return line + " <" + Out(answer.from) + ">: " + answer.effect;
    }

    // First the effects are saved, then the IDs of the mails, and only then are mails removed from the
    // server. What a stop leaves there is removed by the next run.
    void Save() {
        if (request_.dry_run) return;
        auto const begun = Clock::now();
        answers_.Save();
        inbox_.Save();
        if (removes_ && !front_.Stopped()) Completed(front_, [&] { source_.Remove(); });
        next_save_ = Clock::now() + work_to_one_of_saving * (Clock::now() - begun);
    }

    // Told even if there was none.
    static bool IsCommon(AnswerKind kind) {
        using enum AnswerKind;
        return kind == delayed || kind == receipt || kind == refusal || kind == registration || kind == other;
    }

    void Totals() const {
        std::uint64_t bounces = 0;
        std::string others;
        for (std::size_t i = 0; i < answer_kinds; ++i) {
            auto const kind = static_cast<AnswerKind>(i);
            if (IsBounce(kind))
                bounces += counts_[i];
            else if (counts_[i] > 0 || IsCommon(kind))
                others += "、" + std::string(WordOf(kind)) + " " + Grouped(counts_[i]) + "通";
        }
        std::string text = "エラー " + Grouped(bounces) + "通" + others;
        if (postponed_ > 0) text += " (うち次に回したもの " + Grouped(postponed_) + "通)";
        if (repeated_ > 0) text += " (受け取り済みで飛ばしたもの " + Grouped(repeated_) + "通)";
        if (too_large_ > 0) text += " (大きすぎて受け取らなかったもの " + Grouped(too_large_) + "通)";
        front_.Result(text + (request_.dry_run ? " (--dry-run なので何も変えていません)" : ""));
        if (counts_[static_cast<std::size_t>(AnswerKind::unclear_refusal)] > 0 && !request_.dry_run)
            front_.Notice("要確認のメールは「tessaly inbox list " + session_.EnvFile() +
                          "」で見て、「tessaly inbox resolve " + session_.EnvFile() +
                          " 番号 --refuse」か「--ignore」で決めてください。");
    }

    Session& session_;
    FrontEnd& front_;
    ReceiveRequest const& request_;
    MailSource& source_;
    Inbox inbox_;
    Answers answers_;
    bool const removes_;
    std::atomic<std::uint64_t> taken_ = 0;
    std::array<std::uint64_t, answer_kinds> counts_{};
    std::uint64_t postponed_ = 0, repeated_ = 0, too_large_ = 0;
    Clock::time_point next_save_;
};

}  // namespace

void ReceiveRequest::Run(Access const& access, std::string const& env_file) const {
    Session session(access, env_file, dry_run ? Session::For::reading : Session::For::changing);
    StoppableWaits const waits(session.Front());
    std::unique_ptr<MailSource> source;
    if (!Completed(session.Front(), [&] { source = SourceOf(session, *this); }))
        throw Failure(Failure::stopped, stopped_sentence);
    Receiving(session, *this, *source).Run();
}

}  // namespace engine
