#include "engine/receiving/inbox.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>

namespace {

// Earlier versions wrote the kinds in Japanese; what no version wrote, or is cut off, counts for nothing.
TEST(Inbox, CountsAnswersOfEveryVersion) {
    using engine::AnswerKind;
    char name[] = "/tmp/tessaly-XXXXXX";
    std::filesystem::path const folder = mkdtemp(name);
    std::filesystem::create_directory(folder / "INBOX");
    std::ofstream(folder / "INBOX/actions.tsv") << "2026/11/22 10:00:00\tエラー\t3\t7\ta@b.jp\t\n"
                                                   "2026/11/23 10:00:00\tbounce\t3\t8\ta@b.jp\t\n"
                                                   "2026/11/23 10:00:00\thard\t3\t8\ta@b.jp\t\n"
                                                   "2026/11/23 10:00:01\trefusal\t3\t8\ta@b.jp\t\n"
                                                   "2026/11/23 10:00:02\tdelay\t-1\t-1\ta@b.jp\t\n"
                                                   "2026/11/23 10:00:03\tnews\t4\t8\ta@b.jp\t\n"
                                                   "2026/11/23 10:00:04\tbounce\t3";
    engine::AnswerCounts const counts = engine::CountAnswers(folder.string());
    engine::AnswerCounts const wanted = {
        {3, {{AnswerKind::hard, 1}, {AnswerKind::soft, 2}, {AnswerKind::refusal, 1}}}};
    EXPECT_EQ(wanted, counts);
    std::filesystem::remove_all(folder);
}

TEST(Inbox, WhatACutOffReceivingLeftCountsOnce) {
    char name[] = "/tmp/tessaly-XXXXXX";
    std::filesystem::path const folder = mkdtemp(name);
    EXPECT_EQ(1, engine::Inbox(folder.string()).Keep("a"));
    engine::Inbox again(folder.string());
    EXPECT_EQ(1, again.Keep("a"));
    EXPECT_EQ(2, again.Keep("b"));
    // Effects whose mails were not remembered are recorded once more, and count once.
    engine::Effect effect{"2026/11/23 10:00:00", engine::AnswerKind::unclear_refusal, 3, 8, "a@b.jp", "?", 2};
    std::string const line = "2026/11/23 10:00:00\tunclear_refusal\t3\t8\ta@b.jp\t?\t2\n";
    for (int round = 0; round < 2; ++round) {
        again.Record(effect);
        again.Remember("id " + std::to_string(round));
        again.Save();
        std::ofstream(folder / "INBOX/actions.tsv", std::ios::app) << line;
        again = engine::Inbox(folder.string());
    }
    engine::AnswerCounts const wanted = {{3, {{engine::AnswerKind::unclear_refusal, 1}}}};
    EXPECT_EQ(wanted, engine::CountAnswers(folder.string()));
    // The last effect of a kept mail counts: a person has decided about it.
    effect.kind = engine::AnswerKind::other;
    again.Record(effect);
    again.Save();
    EXPECT_EQ(engine::AnswerKind::other, engine::EffectsOfKept(folder.string()).at(2).kind);
    std::filesystem::remove_all(folder);
}

}  // namespace
