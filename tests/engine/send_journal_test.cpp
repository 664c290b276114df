#include <sys/resource.h>

#include <csignal>
#include <thread>

#include "engine/mails/stored_mails.h"
#include "engine/sending/journal_file.h"
#include "engine/sending/send_history.h"
#include "tests/engine/scratch_shop.h"

namespace {

using engine::JournalContent;
using engine::JournalRecord;
using engine::MailHistory;
using engine::Outcome;
using engine::RecipientState;
using engine::SendHistory;

// A run that ends as if its process had been killed, and what is read behind it.
class SendJournalTest : public engine_tests::ScratchShop {
  protected:
    explicit SendJournalTest(int customers = 8) {
        std::string list = "メール,名前(姓)\r\n";
        for (int i = 0; i < customers; ++i) {
            list += "n" + std::to_string(i) + "@example.jp,表\r\n";
            ids_.push_back(i);
        }
        Import(list);
        engine::MailArguments arguments;
        arguments.draft = Put("draft.txt", "Subject: x\n\ny\n");
        engine::CreateMail(access_, env_, arguments);
    }
    static CString IdOf(int customer) { return (std::to_string(customer) + ".m0.tessaly-0@x").c_str(); }
    void Expect(SendHistory& history) const { history.Expect(ids_, IdOf); }
    static void Send(SendHistory& history, int customer, Outcome outcome) {
        EXPECT_EQ(IdOf(customer), history.Take(static_cast<std::size_t>(customer)));
        history.Start(customer);
        Record(history, customer, outcome);
    }
    static void Record(SendHistory& history, int customer, Outcome outcome) {
        bool const refused = outcome == Outcome::refused;
        history.Record({customer, "a@b.jp", outcome, outcome == Outcome::sent ? "" : "だめ", IdOf(customer),
                        true, refused ? 550 : 0, refused ? "5.1.1" : ""});
    }
    // 0 sent, 1 refused, 2 failed, 3 not known, 4 not attempted, 5 on the way, 6 not begun, 7 sent.
    void KilledRun() const {
        Session session = Open(Session::For::reading);
        SendHistory history(session, 0);
        history.Begin(ids_);
        Expect(history);
        constexpr Outcome outcomes[] = {Outcome::sent, Outcome::refused, Outcome::failed, Outcome::unknown};
        for (int customer = 0; customer < 4; ++customer) Send(history, customer, outcomes[customer]);
        for (int const customer : {4, 5}) {
            history.Take(static_cast<std::size_t>(customer));
            history.Start(customer);
        }
        history.Record({4, "a@b.jp", Outcome::failed, "", IdOf(4), false});
        Send(history, 7, Outcome::sent);
    }
    // A letter for each recipient: W, C, E, or ? for unknown; "damaged" for a journal that is.
    std::string States() {
        if (!reading_) reading_ = std::make_unique<Session>(access_, env_, Session::For::reading);
        MailHistory history(*reading_, 0);
        if (history.IsDamaged()) return "damaged";
        std::string states;
        for (int const id : ids_) {
            auto const state = history.StateOf(id);
            states += state == RecipientState::unknown ? "?" : state.letter;
        }
        return states;
    }
    std::string Change(std::function<void(SendHistory&)> const& change) {
        Session session = Open(Session::For::reading);
        SendHistory history(session, 0);
        change(history);
        history.End();
        return States();
    }

    std::size_t Records() const {
        std::size_t records = 0;
        JournalContent(Path(journal)).ForEachRecord([&](JournalRecord const&) { ++records; });
        return records;
    }

    static constexpr char const* journal = "shop/MAIL/0/hist0.journal";
    std::vector<int> ids_;
    std::unique_ptr<Session> reading_;
};

TEST_F(SendJournalTest, EveryRecipientIsWhatIsKnown) {
    Set("retry.max", "1");
    KilledRun();
    EXPECT_EQ("CEW?W?WC", States());
    EXPECT_EQ("CEW?W?WC", Change([](SendHistory&) {}));
    {
        Session session = Open(Session::For::reading);
        MailHistory history(session, 0);
        ASSERT_EQ(2U, history.Unknown().size());
        EXPECT_EQ("だめ", history.Unknown().at(3).reason);
        EXPECT_EQ("", history.Unknown().at(5).reason);
        EXPECT_EQ(IdOf(5), history.Unknown().at(5).message_id);
        EXPECT_EQ(0, history.Unknown().at(5).number);
        ASSERT_TRUE(history.ReplyTo(1) && history.ReplyTo(2) && !history.ReplyTo(0));
        EXPECT_EQ(550, history.ReplyTo(1)->code);
        EXPECT_EQ("5.1.1", history.ReplyTo(1)->enhanced);
        EXPECT_TRUE(history.ReplyTo(2)->outcome == Outcome::failed && history.ReplyTo(2)->text == "だめ");
        EXPECT_TRUE(StatusAfter(history) == engine::MailStatus::waiting);
    }
    EXPECT_EQ("CEWCW?WC", Change([](SendHistory& history) { history.SettleAsSent(3); }));
    EXPECT_EQ("CEWCWWWC", Change([](SendHistory& history) { history.MailAgain(5); }));
    EXPECT_EQ("CCCCCCEC", Change([this](SendHistory& history) {
                  history.Begin(ids_);
                  Expect(history);
                  for (int const customer : {1, 2, 4, 5}) Send(history, customer, Outcome::sent);
                  history.Take(6);
                  for (int attempt = 0; attempt < 2; ++attempt) Record(history, 6, Outcome::failed);
              }));
    EXPECT_EQ("CCCCCCCC", Change([this](SendHistory& history) {
                  history.Begin(ids_);
                  Expect(history);
                  Send(history, 6, Outcome::sent);
              }));
    EXPECT_FALSE(std::filesystem::exists(Path(journal)));
}

// A power cut takes what was not durable: from any byte on the end is zeros.
TEST_F(SendJournalTest, ATornEndMakesNobodyWaitWhoMayHaveTheMail) {
    KilledRun();
    std::string const whole = Content(journal);
    std::size_t const end = whole.find_last_not_of('\0') + 1;
    std::size_t const records = Records();
    for (std::size_t cut = end - 200; cut < end; ++cut) {
        Put(journal, whole.substr(0, cut) + std::string(whole.size() - cut, '\0'));
        JournalContent content(Path(journal));
        content.ForEachRecord([](JournalRecord const&) {});
        std::size_t const left = Records();
        EXPECT_LT(left, records);
        std::string const states = States();
        // The last records: outcome 3, starts 4 and 5, none 4, start and outcome 7.
        EXPECT_EQ("CEW?", states.substr(0, 4)) << cut;
        if (content.IsIrregular()) {
            EXPECT_EQ(states.find('W', 4) == 4, left > records - 3) << cut << states;
            EXPECT_EQ('?', states[6]) << cut;
        } else {
            EXPECT_EQ('W', states[6]) << cut;
        }
        EXPECT_EQ(left == records - 1 || content.IsIrregular() ? '?' : 'W', states[7]) << cut;
    }
    // A file that was cut does not end with zeros.
    Put(journal, whole);
    for (std::size_t size = end; size-- > 0;) {
        std::filesystem::resize_file(Path(journal), size);
        EXPECT_EQ("damaged", States()) << size;
        if (size % 100 == 0) {
            EXPECT_EQ("damaged_file", FailureOf([&] { Change([](SendHistory&) {}); })) << size;
        }
    }
}

TEST_F(SendJournalTest, NoFlippedByteMakesSomebodyWaitWhoMayHaveTheMail) {
    Set("retry.allowed", "N");
    KilledRun();
    for (bool const kept : {false, true}) {
        if (kept) Change([](SendHistory&) {});
        std::string const whole = Content(journal);
        std::size_t const end = whole.find_last_not_of('\0') + 8;
        std::fstream file(Path(journal), std::ios::in | std::ios::out | std::ios::binary);
        auto const put = [&](std::size_t at, int byte) {
            file.seekp(static_cast<std::streamoff>(at)).put(static_cast<char>(byte)).flush();
        };
        for (std::size_t at = 0; at < end; ++at) {
            put(at, whole[at] ^ 0x10);
            std::string const states = States();
            EXPECT_TRUE(states == "damaged" ||
                        (states.find('W') >= 4 && states[3] == '?' && states[5] == '?' && states[7] != 'W'))
                << kept << " " << at << " " << states;
            put(at, whole[at]);
        }
    }
    EXPECT_EQ("CEE?W?WC", States());
}

TEST_F(SendJournalTest, HolesCountByWhatWasDurable) {
    KilledRun();
    std::vector<JournalRecord> records;
    JournalContent(Path(journal)).ForEachRecord([&](JournalRecord const& record) {
        records.push_back(record);
    });
    auto const kind = [&](std::size_t i) { return records[i].kind; };
    ASSERT_TRUE(kind(0) == JournalRecord::Kind::run && kind(1) == JournalRecord::Kind::group);
    records[0].place.boot += "x";  // the machine was started again
    {
        engine::JournalFile file(Path(journal), {records[0]});
        file.Reserve(100000);
        file.Add(std::span(records).subspan(1));
    }
    EXPECT_EQ("CEW?W??C", States());
    for (bool const durable : {false, true}) {
        {
            engine::JournalFile file(Path(journal), {records[0]});
            file.Reserve(100000);
            file.Add(std::span(records).subspan(1));
            JournalRecord group{.kind = JournalRecord::Kind::group, .durable = durable ? 100000U : 0U};
            file.Add(group);
        }
        std::string torn = Content(journal);
        std::size_t const end = torn.find_last_not_of('\0') + 1;
        std::fill_n(torn.begin() + static_cast<std::ptrdiff_t>(end - 200), 100, '\0');
        Put(journal, torn);
        EXPECT_EQ(durable ? "damaged" : "CEW???", States().substr(0, durable ? 7 : 6));
    }
}

TEST_F(SendJournalTest, ASaveThatFailsDropsNothing) {
    Session session = Open(Session::For::reading);
    SendHistory history(session, 0);
    history.Begin(ids_);
    Expect(history);
    for (char const* number : {"", "2", "3", "4", "5", "6", "7", "8", "9"})
        std::filesystem::create_directory(Path("shop/MAIL/0/hist0.dat.tessaly-new") + number);
    Send(history, 0, Outcome::sent);
    for (int customer = 1; customer < 7; ++customer) {
        Send(history, customer, Outcome::sent);
        if (customer < 6) std::this_thread::sleep_for(std::chrono::seconds(1));
    }
    EXPECT_NE(std::string::npos, front_.notices.find("送信履歴を書き込めませんでした")) << front_.notices;
    EXPECT_EQ(front_.notices.find("送信履歴"), front_.notices.rfind("送信履歴")) << front_.notices;
    EXPECT_EQ("not_written", FailureOf([&] { history.End(); }));
    EXPECT_EQ("CCCCCCCW", States());
}

class FullDisk : public SendJournalTest {
  protected:
    FullDisk() : SendJournalTest(600) {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before_);
    }
    ~FullDisk() override { Limit(before_.rlim_cur); }
    void Limit(rlim_t bytes) const {
        rlimit const limit{bytes, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    rlimit before_{};
};

// No mail is given out whose outcome would not fit, however long the replies are.
TEST_F(FullDisk, EndsTheRunBeforeAMailThatCannotBeRecorded) {
    std::size_t given = 0;
    {
        Session session = Open(Session::For::reading);
        SendHistory history(session, 0);
        history.Begin(ids_);
        Limit(150000);
        Expect(history);
        std::string const longest(600, 'x');
        EXPECT_EQ("not_written", FailureOf([&] {
                      for (; given < ids_.size(); ++given) {
                          int const id = ids_[given];
                          history.Take(given);
                          history.Start(id);
                          history.Record({id, {}, Outcome::refused, longest, IdOf(id), true, 550, "5.1.1"});
                      }
                  }));
    }
    EXPECT_GT(given, 50U);
    EXPECT_LT(given, 300U);
    Session session = Open(Session::For::reading);
    MailHistory history(session, 0);
    EXPECT_TRUE(history.Unknown().empty());
    EXPECT_EQ(static_cast<std::ptrdiff_t>(given), std::count_if(ids_.begin(), ids_.end(), [&](int id) {
                  return history.ReplyTo(id) != nullptr;
              }));
    EXPECT_EQ(500U, history.ReplyTo(0)->text.size());
}

}  // namespace
