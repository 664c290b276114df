#include "engine/incoming/classification.h"

#include <gtest/gtest.h>

#include "engine/incoming/bounce_reason.h"
#include "engine/incoming/classification_table.h"
#include "engine/incoming/delivery_status.h"
#include "engine/incoming/folded_text.h"
#include "engine/incoming/refusal.h"
#include "engine/incoming/written_text.h"
#include "engine/receiving/answer_kind.h"
#include "tests/engine/answer_corpus.h"

namespace {

using engine::AnswerKind;
using engine::RefusalSign;

engine::RefusalWords const words("Ｓｔｏｐで", "");

AnswerKind KindOf(engine::IncomingMail const& mail, engine::Classification const& found, bool answers) {
    RefusalSign const sign = FindRefusal(mail, found.kind, words, answers);
    if (sign.certainty == RefusalSign::Certainty::certain) return AnswerKind::refusal;
    return sign.certainty == RefusalSign::Certainty::unclear ? AnswerKind::unclear_refusal : found.kind;
}

TEST(Classification, MailsOfManyProgramsAreWhatTheyAre) {
    for (auto const& mail : engine_tests::CorpusOf("1.0.m3.tessaly-0@example.jp", "n0@example.jp"))
        for (bool const crlf : {false, true}) {
            std::string text = mail.text;
            for (std::size_t at = 0; crlf && (at = text.find('\n', at)) != text.npos; at += 2)
                text.insert(at, "\r");
            engine::IncomingMail const incoming(text);
            engine::Classification const found = engine::Classify(incoming);
            bool const answers =
                text.find("In-Reply-To: <1.0") != text.npos || text.find("References: <1.0") != text.npos;
            EXPECT_EQ(mail.kind, KeyOf(KindOf(incoming, found, answers)))
                << mail.name << ": " << found.decided_by;
            EXPECT_EQ(mail.status, found.status) << mail.name;
            EXPECT_EQ(mail.reply, found.reply) << mail.name << ": " << found.text;
        }
}

// A word in another form never matches, and one that an earlier word hides never decides.
TEST(Classification, EachWordOfTheTableCanDecide) {
    for (engine::BounceRule const& rule : engine::BounceRules()) {
        EXPECT_EQ(engine::Folded(rule.words), rule.words);
        EXPECT_EQ(engine::Folded(rule.more_words), rule.more_words);
        if (!rule.code.empty() || !rule.more_words.empty()) continue;
        engine::BounceReason const reason = engine::ReasonOf({}, rule.words, "");
        EXPECT_EQ(rule.kind, reason.kind) << rule.words << ": " << reason.decided_by;
    }
    for (engine::MailWords const& row : engine::WordsOfMails()) {
        EXPECT_EQ(engine::Folded(row.words), row.words);
        EXPECT_EQ(engine::Folded(row.more_words), row.more_words);
    }
}

TEST(Classification, CodesAreToldFromOtherNumbers) {
    const struct {
        char const *text, *status;
        int reply;
    } rows[] = {
        {"smtp; 550-5.1.1 x", "5.1.1", 550},
        {"(#5.7.1)", "5.7.1", 0},
        {"5.0.0 (5.2.2)", "5.2.2", 0},
        {"said: 452 4.2.2.", "4.2.2", 452},
        {"550", "", 550},
        {"host 5.1.1.9 or 15.1.1 or v5.1.1 or 5.1.1a or 5.1", "", 0},
        {"5.1.1.", "5.1.1", 0},
        {"5.1.1000 4.1 2.1.5 release 2.0.12", "", 0},
        {"1550 5501 550KB 599 350 id550 192.0.2.550", "", 0},
        {"#<mx.example.jp #5.1.1 smtp;554 x>", "5.1.1", 554},
        {"", "", 0},
    };
    for (auto const& row : rows) {
        EXPECT_EQ(row.status, engine::CodesIn(row.text).status) << row.text;
        EXPECT_EQ(row.reply, engine::CodesIn(row.text).reply) << row.text;
    }
}

TEST(Classification, AddressesStandBesideNamesAndComments) {
    for (auto const& [field, address] : {std::pair("a@b.jp", "a@b.jp"),
                                         {"\"x, <y@z> \\\" (\" <a@b.jp> (c)", "a@b.jp"},
                                         {"a@b.jp (n (m) <x@y>), c@d.jp", "a@b.jp"},
                                         {"<a@b.jp", "a@b.jp"},
                                         {"<\"a b\"@b.jp>", "\"a b\"@b.jp"},
                                         {"(a@b.jp", ""},
                                         {"", ""}})
        EXPECT_EQ(address, engine::AddressIn(field)) << field;
}

// A digest holds bounces, each a message of its own.
TEST(Classification, AMessageWithinAMailIsJudgedByItself) {
    std::string text = "From: list@example.jp\nContent-Type: multipart/digest; boundary=D\n";
    for (auto const& mail : engine_tests::CorpusOf("1.0.m3.tessaly-0@example.jp", "n0@example.jp"))
        if (mail.name == "Exim: no route" || mail.name == "Plala: InterMail, full")
            text += "\n--D\n\n" + mail.text;
    engine::IncomingMail const incoming(text + "\n--D--\n");
    ASSERT_EQ(3U, incoming.Messages().size());
    EXPECT_EQ(AnswerKind::other, Classify(incoming).kind);
    EXPECT_EQ(AnswerKind::hard, Classify(incoming, 1).kind);
    EXPECT_EQ(AnswerKind::mailbox_full, Classify(incoming, 2).kind);
}

}  // namespace
