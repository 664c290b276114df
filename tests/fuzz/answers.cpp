// A received mail of any program, as far as the decision what it answers and what is done about it. Each
// input meets the same environment: two customers who were sent one mail, and none of its effects are
// applied.

#include "engine/receiving/answers.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>

#include "engine/base/front_end.h"
#include "engine/customers/csv_import.h"
#include "engine/environment/new_environment.h"
#include "engine/mails/stored_mails.h"
#include "engine/sending/send_history.h"
#include "fuzz_target.h"

namespace {

class Silent : public engine::FrontEnd {
    void Notice(std::string const&) override {}
    void Result(std::string const&) override {}
    bool Stopped() const override { return false; }
    std::string StartPassword() override { return {}; }
    std::shared_ptr<void> ShowProgress(std::string const&, std::string const&, std::uint64_t,
                                       std::function<std::uint64_t()> const&) override {
        return nullptr;
    }
};

class Shop {
  public:
    static constexpr int customers = 2;

    Shop() {
        char name[] = "/tmp/tessaly-fuzz-XXXXXX";
        folder_ = mkdtemp(name);
        access_.front = &front_;
        std::string const env = folder_ / "shop.tsl";
        engine::CreateEnvironment(access_, env, {});
        engine::MailArguments draft;
        draft.draft = Put("draft.txt", "Subject: x\n\ny\n");
        {
            engine::Session session(access_, env, engine::Session::For::changing);
            session.Set("receive.register", "empty");
            session.Set("receive.refuse-keyword", "停止");
            session.SaveSettings();
            engine::CsvImport import;
            import.file = Put("list.csv", "メール,名前(姓)\r\nn0@example.jp,表\r\nn1@example.jp,ソ\r\n");
            import.Run(session);
        }
        engine::CreateMail(access_, env, draft);
        {
            engine::Session session(access_, env, engine::Session::For::reading);
            engine::SendHistory(session, 0).Begin({0, 1});
        }
        Put("shop/MAIL/0/hist0.journal",
            "0\tC\t0\t0.m0.tessaly-0@example.jp\t2026/11/23 01:02:03\n"
            "1\tC\t0\t1.m0.tessaly-0@example.jp\t2026/11/23 01:02:03\n");
        session_ = std::make_unique<engine::Session>(access_, env, engine::Session::For::reading);
        answers_ = std::make_unique<engine::Answers>(*session_, false);
    }
    ~Shop() { std::filesystem::remove_all(folder_); }

    std::vector<engine::Answer> Take(CString const& text) { return answers_->Take(text); }

  private:
    std::string Put(std::string const& name, std::string const& content) const {
        std::ofstream(folder_ / name, std::ios::binary) << content;
        return folder_ / name;
    }

    std::filesystem::path folder_;
    Silent front_;
    engine::Access access_;
    std::unique_ptr<engine::Session> session_;
    std::unique_ptr<engine::Answers> answers_;
};

}  // namespace

void FuzzOne(std::string_view bytes) {
    using enum engine::AnswerKind;
    static Shop shop;
    std::string text(bytes);
    std::replace(text.begin(), text.end(), '\0', ' ');
    std::vector<engine::Answer> const answers = shop.Take(CString(std::string_view(text)));
    fuzz::Check(!answers.empty(), "every mail is of some kind");
    for (engine::Answer const& answer : answers) {
        fuzz::Check(answer.mail == -1 || answer.mail == 0, "it answers no mail that does not exist");
        fuzz::Check(answer.customer < Shop::customers, "it is of no customer who does not exist");
        fuzz::Check(answer.kind != refusal || answer.customer >= 0, "it is known who refuses");
        fuzz::Check(answer.kind != unreadable || answer.keep, "what cannot be read is kept");
        fuzz::Check(answer.keep || !answer.effect.empty(), "what has no effect is kept");
        fuzz::Check(!answer.postponed, "nothing is in the way");
    }
}
