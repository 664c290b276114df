#include "engine/mails/draft.h"

#include <gtest/gtest.h>

#include <fstream>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "tests/platform/scratch_folder.h"

namespace {

class DraftTest : public testing::Test {
  protected:
    engine::Draft Read(std::string const& content) {
        findings_.clear();
        std::ofstream(Name(), std::ios::binary) << content;
        return engine::ReadDraft(Name(), findings_);
    }
    // What is said of a file that is no draft; empty when it is one.
    std::string Refusal(std::string const& content) {
        try {
            Read(content);
        } catch (engine::Failure const& failure) {
            return failure.what();
        }
        return {};
    }
    std::string Name() const { return folder_.Host("draft.txt"); }

    ScratchFolder folder_;
    std::vector<engine::Finding> findings_;
};

TEST_F(DraftTest, HeadersEndAtTheEmptyLine) {
    engine::Draft const draft = Read(
        "\xEF\xBB\xBFsubject:  秋のご案内 \r\nFROM: \"表 花子\" <hanako@example.jp>\r\n"
        "Reply-To: shop@example.jp\r\n\r\n本文\nSubject: 本文のうち\n\n終わり");
    EXPECT_EQ(engine::Out(draft.subject), "秋のご案内");
    EXPECT_EQ(engine::Out(draft.from.name), "表 花子");
    EXPECT_EQ(draft.from.address, "hanako@example.jp");
    EXPECT_TRUE(draft.reply_to.name.IsEmpty());
    EXPECT_EQ(draft.reply_to.address, "shop@example.jp");
    EXPECT_EQ(engine::Out(draft.body), "本文\r\nSubject: 本文のうち\r\n\r\n終わり");
    EXPECT_TRUE(findings_.empty());
    EXPECT_EQ(engine::Out(Read("Subject: a\n\n\n 先頭の空行も本文\n").body), "\r\n 先頭の空行も本文\r\n");
}

TEST_F(DraftTest, SaysWhereAFileIsNoDraft) {
    using namespace std::string_literals;
    struct Row {
        std::string content, text;
    };
    Row const rows[] = {
        {"", "件名 (Subject: ...) がありません"},
        {"\n本文\n", "件名 (Subject: ...) がありません"},
        {"Subject:   \n\n本文\n", "件名 (Subject: ...) がありません"},
        {"Subject: 件名\n", "本文がありません"},
        {"Subject: 件名\n\n", "本文がありません"},
        {"Subject: 件名\n\n \n\n", "本文がありません"},
        {"Subject: 件名\n本文\n", "2行: 「Subject: 件名」のような見出しではありません"},
        {"Subject: 件名\n : x\n\n本文", "2行: 知らない見出しです"},
        {"Subject: 件名\n: x\n\n本文", "2行: 「Subject: 件名」のような見出しではありません"},
        {"Subject: 件名\nBcc: a@example.jp\n\n本文", "2行: 知らない見出しです: Bcc"},
        {"Subject: 件名\nsubject: 件名\n\n本文", "2行: Subject が2つあります"},
        {"Subject: 件名\nFrom: 店 <shop>\n\n本文", "下書きの Fromのメールアドレスが正しくありません"},
        {"Subject: 件名\nReply-To:\n\n本文", "下書きの Reply-Toのメールアドレスが正しくありません"},
        {"Subject: " + std::string(900, 'a') + "\n\n本文", "1行: 見出しが長すぎます"},
        {"Subject: 件名💌\n\n本文", "1行12文字目の「💌」。Shift_JISにある"},
        {"Subject: 件名\n\n本文\r\nあい💌", "4行3文字目の「💌」。Shift_JISにある"},
        {"Subject: 件名\n\n本文\0"s, "3行3文字目の「NUL」"},
        {"Subject: " + engine::IntoLibrary("件名").text + "\n\n",
         "1行10文字目の「\\x8C」。下書きは文字コードをUTF-8"},
        {"\xFF\xFES\0u\0b\0"s, "1行1文字目の「\\xFF」。下書きは文字コードをUTF-8"},
    };
    for (Row const& row : rows)
        EXPECT_NE(Refusal(row.content).find(row.text), std::string::npos)
            << row.content << "\n-> " << Refusal(row.content);
    EXPECT_NE(Refusal("Subject: a\n\n" + std::string(5 << 20, 'a')).find("大きすぎます"), std::string::npos);
    for (std::string const& name : {folder_.Host(), folder_.Host("missing")})
        EXPECT_THROW(engine::ReadDraft(name, findings_), engine::Failure);
}

TEST_F(DraftTest, ABodyOfBlanksIsNone) {
    for (char const* rest : {"", "\n", "\n \t\r\n\n"}) {
        std::ofstream(Name()) << "Subject: 件名\n" << rest;
        EXPECT_EQ(engine::ReadDraft(Name(), findings_, engine::DraftBody::optional).body, "") << rest;
    }
}

TEST_F(DraftTest, FindsWhatRecipientsWouldNotSeeAsItWasMeant) {
    struct Row {
        std::string draft;
        std::size_t line, column;
        std::string text;
    };
    Row const rows[] = {
        {"Subject: 件名<%名前%>\n\n本文", 1, 12, "知らない差し込み文字です: <%名前%>"},
        {"Subject: 件名\n\n本文\r\nあ<%なまえ(姓)%>い", 4, 2, "知らない差し込み文字です: <%なまえ(姓)%>"},
        {"Subject:① 件名\n\n本文", 1, 9, "機種依存文字です「①」"},
        {"Subject: 件名\n\n\nポイントは\n表ﾎﾟ", 5, 2, "半角カナです「ﾎ」"},
    };
    for (Row const& row : rows) {
        Read(row.draft);
        ASSERT_FALSE(findings_.empty()) << row.draft;
        EXPECT_EQ(findings_[0].line, row.line) << row.draft;
        EXPECT_EQ(findings_[0].column, row.column) << row.draft;
        EXPECT_EQ(findings_[0].text, row.text) << row.draft;
    }
    Read("Subject: <%名前(姓)%>様\n\n<%拡張属性T%><% 100%引き <%\n%> <%個人情報ID%>");
    EXPECT_TRUE(findings_.empty());
}

}  // namespace
