#include "engine/receiving/answers.h"

#include <algorithm>

#include "engine/mails/stored_mails.h"
#include "engine/receiving/inbox.h"
#include "engine/receiving/kept_mails.h"
#include "engine/receiving/receive_request.h"
#include "engine/receiving/server_check.h"
#include "engine/reports/mail_report.h"
#include "tests/engine/answer_corpus.h"
#include "tests/engine/scratch_shop.h"

namespace {

using engine::AnswerKind;
using engine::RecipientState;

// A mail that went to customer 0, and to customer 1 in its second attempt.
class AnswersTest : public engine_tests::ScratchShop {
  protected:
    AnswersTest() {
        Import(
            "メール,名前(姓),名前(名)\r\nn0@example.jp,表,花子\r\nn1@example.jp,ソ,\r\nn2@example.jp,,"
            "次郎\r\n");
        engine::MailArguments arguments;
        arguments.draft = Put("draft.txt", "Subject: x\n\ny\n");
        mail_ = engine::CreateMail(access_, env_, arguments);
        Begin({0, 1});
        Sent();
    }
    void Begin(std::vector<int> const& customers) const {
        Session session = Open(Session::For::reading);
        engine::SendHistory(session, mail_).Begin(customers);
    }
    void Sent(std::string const& more = {}) const {
        Put(journal, "0\tC\t0\t" + IdOf(0) + "\t2026/11/23 01:02:03\n1\tC\t1\t" + IdOf(1) +
                         "\t2026/11/23 01:02:04\n" + more);
    }
    static std::string IdOf(int customer) { return std::to_string(customer) + ".m0.tessaly-0@example.jp"; }
    static std::string Bounce(int customer, std::string const& fields) {
        return "From: MAILER-DAEMON@mx\r\nSubject: report\r\nMessage-ID: <r@x>\r\nContent-Type: "
               "multipart/report; "
               "boundary=b\r\n\r\n--b\r\n\r\nSorry.\r\n--b\r\nContent-Type: message/delivery-status\r\n\r\n" +
               fields + "\r\n\r\n--b\r\nContent-Type: message/rfc822\r\n\r\nMessage-ID: <" + IdOf(customer) +
               ">\r\n\r\ny\r\n--b--\r\n";
    }
    engine::MailOutcomes Outcomes() const {
        Session session = Open(Session::For::reading);
        return engine::OutcomesOfMail(session, mail_);
    }

    static constexpr char const* journal = "shop/MAIL/0/hist0.journal";
    int mail_ = -1;
};

TEST_F(AnswersTest, ABounceTakesEffectByItsReportAndTheRetrySettings) {
    const struct {
        char const *allowed, *limit;
        int customer;
        char const* fields;
        AnswerKind kind;
        RecipientState after;
    } rows[] = {
        {"Y", "3", 0, "Action: failed\r\nStatus: 5.1.1", AnswerKind::hard, RecipientState::failed},
        {"Y", "3", 0, "Action: failed\r\nStatus: 4.4.1", AnswerKind::soft, RecipientState::waiting},
        {"Y", "3", 0, "Action: failed", AnswerKind::soft, RecipientState::waiting},
        {"Y", "3", 0, "Status: 5.0.0\r\nACTION:\r\n\tDelayed", AnswerKind::delayed, RecipientState::complete},
        {"N", "3", 0, "Status: 4.4.1", AnswerKind::soft, RecipientState::failed},
        {"Y", "1", 0, "Status: 4.4.1", AnswerKind::soft, RecipientState::waiting},
        {"Y", "1", 1, "Status: 4.4.1", AnswerKind::soft, RecipientState::failed},
        {"Y", "2", 1, "Status: 4.4.1", AnswerKind::soft, RecipientState::waiting},
    };
    for (auto const& row : rows) {
        Sent();
        Set("retry.allowed", row.allowed);
        Set("retry.max", row.limit);
        {
            Session session = Open(Session::For::changing);
            engine::Answers answers(session, true);
            engine::Answer const answer =
                answers.Take(CString(Bounce(row.customer, row.fields).c_str())).front();
            EXPECT_EQ(row.kind, answer.kind) << row.fields;
            EXPECT_EQ(mail_, answer.mail);
            EXPECT_EQ(row.customer, answer.customer);
            answers.Save();
        }
        engine::MailOutcomes const outcomes = Outcomes();
        ASSERT_EQ(2U, outcomes.recipients.size());
        for (engine::RecipientOutcome const& one : outcomes.recipients)
            EXPECT_TRUE(one.state == (one.customer == row.customer ? row.after : RecipientState::complete))
                << row.fields << " " << row.limit << " " << one.customer;
    }
}

// Mails of many programs, each about the mail to customer 0.
TEST_F(AnswersTest, EveryMailThatReturnsTheMessageIdFindsItsMail) {
    Set("receive.refuse-keyword", "Ｓｔｏｐで");
    Session session = Open(Session::For::reading);
    engine::Answers answers(session, false);
    std::size_t traced = 0;
    for (auto const& mail : engine_tests::CorpusOf(IdOf(0), "n0@example.jp")) {
        engine::Answer const answer = answers.Take(CString(mail.text.c_str())).front();
        bool const refuses = mail.kind == "refusal" || mail.kind == "unclear_refusal";
        if (!refuses && mail.kind != "complaint" && mail.kind != "other") {
            EXPECT_STREQ(mail.kind.c_str(), KeyOf(answer.kind)) << mail.name;
        }
        if (mail.text.find(IdOf(0)) == std::string::npos) continue;
        ++traced;
        EXPECT_EQ(mail_, answer.mail) << mail.name;
        if (!refuses) {
            EXPECT_EQ(0, answer.customer) << mail.name;
        }
    }
    EXPECT_GT(traced, 60U);
}

TEST_F(AnswersTest, WhatIsReceivedIsCountedAndKept) {
    Put("answers/0.eml", Bounce(0, "Status: 5.1.1\r\nDiagnostic-Code: smtp;\r\n 550 no"));
    Put("answers/1.eml", "From: a@b.jp\r\nSubject: =?UTF-8?B?8J+YgA==?= x\r\n\r\nいつ\r\n");
    engine::ReceiveRequest request;
    request.from_dir = Path("answers");
    for (char const* totals : {"エラー 1通、遅延 0通、開封 0通、配信停止 0通、登録 0通、その他 1通\n",
                               "エラー 0通、遅延 0通、開封 0通、配信停止 0通、登録 0通、その他 0通 "
                               "(受け取り済みで飛ばしたもの 2通)\n"}) {
        front_.results.clear();
        request.Run(access_, env_);
        EXPECT_EQ(totals, front_.results);
    }
    EXPECT_NE(std::string::npos, front_.notices.find("エラーにしました: smtp; 550 no。この宛先には"))
        << front_.notices;
    Session const session = Open(Session::For::reading);
    std::vector<engine::KeptMailRow> const kept = engine::ListKeptMails(session);
    ASSERT_EQ(1U, kept.size());
    EXPECT_EQ("😀 x", kept[0].subject);
    engine::KeptMailText const mail = engine::ReadKeptMail(session, kept[0].number);
    EXPECT_EQ("😀 x", mail.head.subject);
    EXPECT_EQ("いつ\n", mail.body);
    EXPECT_EQ("received_mail_not_found", FailureOf([&] { engine::ReadKeptMail(session, 9); }));
}

TEST_F(AnswersTest, ReportsTellStatesAndWhatIsNone) {
    Begin({2});
    Sent("2\t\xff\t1\tid@x\t2026/11/23 01:02:05\n");
    engine::MailOutcomes const outcomes = Outcomes();
    ASSERT_EQ(3U, outcomes.recipients.size());
    EXPECT_EQ("表 花子", outcomes.recipients[0].name);
    EXPECT_EQ("2026/11/23 01:02:03", outcomes.recipients[0].last_sent);
    EXPECT_EQ(0, outcomes.recipients[0].failures);
    EXPECT_EQ(1, outcomes.recipients[1].failures);
    EXPECT_FALSE(outcomes.recipients[2].state.state);
    EXPECT_EQ("\ufffd", WordOf(outcomes.recipients[2].state));
    Session session = Open(Session::For::reading);
    std::vector<engine::MailSummary> const mails = engine::SummariesOfMails(session, false);
    ASSERT_EQ(1U, mails.size());
    EXPECT_TRUE(mails[0].status == engine::MailStatus::draft);
    EXPECT_EQ(3, mails[0].counts.recipients);
}

TEST_F(AnswersTest, ACheckTellsEachServer) {
    struct Seen : engine::CheckRequest::View {
        void Begin(engine::CheckedServer const& server) override { text += server.host + " "; }
        void End(engine::CheckedServer const&, engine::ServerCheck const& check) override {
            text += check.works ? "works " : "fails ";
            EXPECT_EQ(check.works, check.reason.empty());
        }
        std::string text;
    } seen;
    Set("pop.user", "shop");
    Session session = Open(Session::For::reading);
    engine::CheckRequest request;
    EXPECT_EQ("missing_setting", FailureOf([&] { request.Run(session, seen); }));
    request.smtp = request.pop = "127.0.0.1:1";  // where no server listens
    EXPECT_EQ("server_failed", FailureOf([&] { request.Run(session, seen); }));
    EXPECT_EQ("127.0.0.1 fails 127.0.0.1 fails ", seen.text);
}

}  // namespace
