#include "engine/incoming/own_id.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "engine/environment/message_key.h"
#include "engine/incoming/id_search.h"
#include "tests/engine/scratch_shop.h"

namespace {

using engine::IdSigner;
using engine::MailNumbers;
using Use = IdSigner::Use;

std::string const key(IdSigner::key_size, 'k'), other_key(IdSigner::key_size, 'o');
std::string const local = "20261123235038123.00042.5.m3.tessaly-1a2b3c4d";

std::string Replaced(std::string text, std::string const& part, std::string const& with) {
    text.replace(text.find(part), part.size(), with);
    return text;
}

TEST(OwnId, TheCheckValuesNeverChange) {
    IdSigner const signer(key);
    EXPECT_EQ("20261123235038123.00042.5.m3.tessaly-1a2b3c4d-poya43meepjwiy4e@example.jp",
              signer.MessageId(local, "example.jp"));
    EXPECT_EQ("m3-c5-lwqkprynlworn2tp", signer.Token({3, 5}, Use::return_path));
    EXPECT_EQ("m3-c5-6ffv7cu3its5xag7", signer.Token({3, 5}, Use::unsubscribe));
    IdSigner const none;
    EXPECT_EQ(local + "@example.jp", none.MessageId(local, "example.jp"));
    EXPECT_EQ("", none.Token({3, 5}, Use::unsubscribe));
    EXPECT_FALSE(none.IsGenuine(signer.MessageId(local, "x")));
    EXPECT_FALSE(IdSigner("short").IsGenuine(signer.MessageId(local, "x")));
}

TEST(OwnId, WhatIsNotSignedHereIsNotGenuine) {
    IdSigner const signer(key), other(other_key);
    std::string const id = signer.MessageId(local, "example.jp");
    std::string const check = id.substr(local.size() + 1, IdSigner::check_size);
    std::pair<std::string, bool> const ids[] = {
        {id, true},
        {signer.MessageId(local, "elsewhere.example"), true},
        {Replaced(id, "tessaly", "TESSALY"), true},
        {local + "-" + check, true},
        {other.MessageId(local, "example.jp"), false},
        {Replaced(id, ".5.m3", ".6.m3"), false},
        {Replaced(id, ".5.m3", ".5.m4"), false},
        {Replaced(id, "1a2b", "1a2c"), false},
        {Replaced(id, "2026", "2025"), false},
        {Replaced(id, check, check.substr(1) + check.substr(0, 1)), false},
        {Replaced(id, check, check.substr(1)), false},
        {Replaced(id, check, "a" + check), false},
        {local + "@example.jp", false},
        {local + "-" + signer.Token({3, 5}, Use::return_path).substr(6) + "@example.jp", false},
        {"0.m0.tessaly-00000000@x", false},
        {"0.m0.tessaly-00000000-" + check + "@x", false},
        {"", false},
        {"-", false},
        {"@x", false},
    };
    for (auto const& [text, genuine] : ids) EXPECT_EQ(genuine, signer.IsGenuine(text)) << text;

    std::string const token = signer.Token({3, 5}, Use::return_path);
    std::pair<std::string, bool> const tokens[] = {
        {token, true},
        {"M3-C5-" + token.substr(6), true},
        {signer.Token({3, 5}, Use::unsubscribe), false},
        {other.Token({3, 5}, Use::return_path), false},
        {Replaced(token, "c5", "c6"), false},
        {Replaced(token, "m3", "m13"), false},
        {Replaced(token, "m3", "m03"), false},
        {Replaced(token, token.substr(6), check), false},
        {token.substr(0, token.size() - 1), false},
        {"m3-c5-", false},
        {"", false},
    };
    for (auto const& [text, genuine] : tokens)
        EXPECT_EQ(genuine, signer.IsGenuine({text, {}}, Use::return_path)) << text;
}

// Every way in which an ID comes back: as what it is found.
TEST(OwnId, IsFoundInEveryFormInWhichItComesBack) {
    std::string const id = local + "-abcdefghijklm237@example.jp", old = local + "@example.jp";
    auto const half = [&](std::string const& between, std::size_t at = 40) {
        return id.substr(0, at) + between + id.substr(at);
    };
    auto const encoded = [&](std::string const& sign, std::string const& letter, std::string const& code) {
        std::string text = id;
        for (std::size_t at = 0; (at = text.find(letter, at)) != text.npos; at += code.size() + sign.size())
            text.replace(at, letter.size(), sign + code);
        return text;
    };
    std::string utf16;
    for (char const letter : "<" + id + ">") (utf16 += letter) += '\0';
    std::string upper = id;
    for (char& letter : upper) letter = static_cast<char>(toupper(letter));
    struct Row {
        char const* what;
        std::string text;
        std::vector<std::string> wanted;
    };
    Row const rows[] = {
        {"brackets", "Message-ID: <" + id + ">\r\n", {id}},
        {"no brackets", "message-id=" + id + ", size=1", {id}},
        {"alone", id, {id}},
        {"of an earlier version", "<" + old + ">", {old}},
        {"without time", "<1.m0.tessaly-0@example.jp>", {"1.m0.tessaly-0@example.jp"}},
        {"capitals", "<" + upper + ">", {id}},
        {"domain cut off", "<" + id.substr(0, id.find('@')), {id.substr(0, id.find('@'))}},
        {"end of a sentence", "(" + id + ").", {id}},
        {"quoted", "> Message-ID: <" + id + ">\n> ", {id}},
        {"quoted twice", ">> > Message-ID:<" + id + ">", {id}},
        {"folded before", "Message-ID:\r\n\t<" + id + ">", {id}},
        {"folded", half("\r\n "), {id}},
        {"folded and unfolded", half(" "), {id}},
        {"folded and quoted", half("\n> > "), {id}},
        {"folded and quoted with bars", half("\r\n| "), {id}},
        {"folded in the time", half("\r\n\t", 9), {id}},
        {"folded in the customer", half("\r\n\t", 25), {id}},
        {"folded in the check", half("\r\n\t", 50), {id}},
        {"digits before a fold", "2026 12345\n" + id, {id}},
        {"digits right before", "12345" + id, {id}},
        {"soft break", half("=\r\n"), {id}},
        {"soft breaks with blanks and quotes", half("= \t\n> ", 33), {id}},
        {"soft break in the domain", half("=\n", id.size() - 4), {id}},
        {"soft break in the mark", half("=\n", 33), {id}},
        {"quoted-printable dots", encoded("=", ".", "2E"), {id}},
        {"quoted-printable at", encoded("=", "@", "40"), {id}},
        {"quoted-printable letters", encoded("=", "t", "74"), {id}},
        {"quoted-printable brackets", "=3C" + id + "=3E", {id}},
        {"quoted-printable blank before", "=20" + id + "=20", {id}},
        {"behind a sign of equality", "id=" + id, {id}},
        {"behind one, of another year", "id=" + Replaced(id, "2026", "3126"), {Replaced(id, "2026", "3126")}},
        {"percent", encoded("%", "@", "40"), {id}},
        {"percent everywhere", "%3C" + encoded("%", ".", "2e") + "%3E", {id}},
        {"percent blank before", "?id=1&x=%20" + id, {id}},
        {"HTML brackets", "&lt;" + id + "&gt;", {id}},
        {"HTML at", encoded("&#", "@", "64;"), {id}},
        {"HTML at in hexadecimal", encoded("&#x", "@", "40;"), {id}},
        {"HTML names",
         Replaced(encoded("&", ".", "period;"), "@", "&commat;"),
         {id.substr(0, id.size() - 3) + ".jp"}},
        {"HTML numbers", encoded("&#", "e", "101;"), {id}},
        {"HTML breaks", half("<wbr>") + "<br>", {id}},
        {"HTML zero-width blank", half("&#8203;"), {id}},
        {"link", "<a href=\"mailto:" + id + "?x\">" + id + "</a>", {id}},
        {"UTF-16", utf16, {id}},
        {"behind an escape of ISO-2022-JP", "\x1B$B8f\x1B(B" + id, {id}},
        {"two", "<" + id + ">\n\t<" + Replaced(id, ".5.", ".6.") + ">", {id, Replaced(id, ".5.", ".6.")}},
        {"twice", "<" + id + "> <" + upper + ">", {id}},
        {"cut, then whole", id.substr(0, 37) + "\n" + id, {id}},
        {"cut in the random part, then whole", id.substr(0, 41) + "\n" + id, {id}},
        {"cut in the check, then whole", id.substr(0, 50) + "\n" + id, {id}},
        {"no mail", "<20261123235038123.00042.5.tessaly-1a2b3c4d@example.jp>", {}},
        {"no customer", "<m3.tessaly-1a2b3c4d@example.jp>", {}},
        {"numbers too large", "<99999999999.m3.tessaly-0@x>", {}},
        {"another's", "<5.m3.thessaly-1a2b3c4d@example.jp>", {}},
        {"no random part", "<5.m3.tessaly-@example.jp>", {}},
        {"half a check", "<" + local + "-abcdef@example.jp>", {}},
        {"another sign in it", "<5.m3_tessaly-0@example.jp>", {}},
    };
    for (Row const& row : rows) {
        std::vector<std::string> found;
        for (engine::OwnId const& one : engine::FindOwnIds(row.text)) {
            found.push_back(one.text);
            EXPECT_EQ(engine::NumbersIn(one.text), one.numbers) << row.what;
        }
        EXPECT_EQ(row.wanted, found) << row.what;
    }
}

TEST(OwnId, TokensAreFoundInAddressesAndSubjects) {
    std::string const token = "m3-c5-abcdefghijklm237";
    std::pair<std::string, std::vector<std::string>> const rows[] = {
        {"bounce+" + token + "@example.jp", {token}},
        {"SRS0=x1=yz=example.jp=bounce+" + token + "@forwarder", {token}},
        {"BOUNCE-M3-C5-ABCDEFGHIJKLM237@x", {"M3-C5-ABCDEFGHIJKLM237"}},
        {"Re: unsubscribe " + token, {token}},
        {token + "," + token, {token, token}},
        {"m99999999999-c5-abcdefghijklm237", {}},
        {"m3-c-abcdefghijklm237", {}},
        {"m3-c5-abcdefghijklm23", {}},
        {"m3-c5-abcdefghijklm018", {}},
        {"m3-c5", {}},
        {"-c5-abcdefghijklm237", {}},
        {"m3-", {}},
    };
    for (auto const& [text, wanted] : rows) {
        std::vector<std::string> found;
        for (engine::OwnToken const& one : engine::FindTokens(text)) {
            found.push_back(one.text);
            EXPECT_EQ((MailNumbers{3, 5}), one.numbers);
        }
        EXPECT_EQ(wanted, found) << text;
    }
}

// 16 MiB of what could be begun again and again takes about as long as any other text.
TEST(OwnId, TheSearchIsLinear) {
    for (std::string const unit : {"1.", "m3.tessaly-", "5.m3.tessaly-0-a", "=\n", "tessaly-", "= ", "&#",
                                   "-c", "m1-c1-", "20261123235038123.00042.5.m3.tessaly-1a2b3c4d\n> "}) {
        std::string text;
        while (text.size() < (16U << 20)) text += unit;
        auto const start = std::chrono::steady_clock::now();
        EXPECT_LE(engine::FindOwnIds(text).size(), engine::most_found);
        EXPECT_LE(engine::FindTokens(text).size(), engine::most_found);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10)) << unit;
    }
}

class MessageKeyTest : public engine_tests::ScratchShop {
  protected:
    std::string Key() const { return engine::ReadMessageKey(Path("shop")).bytes; }
    std::string ForSending() {
        Session session = Open(Session::For::reading);
        return engine::MessageKeyForSending(session);
    }
};

TEST_F(MessageKeyTest, IsMadeOnceForItsOwnerAlone) {
    EXPECT_EQ(engine::MessageKey::none, engine::ReadMessageKey(Path("shop")).state);
    std::string const made = ForSending();
    EXPECT_EQ(IdSigner::key_size, made.size());
    EXPECT_EQ(made, ForSending());
    EXPECT_EQ(made, Key());
    auto const mode = std::filesystem::status(Path("shop/message.key")).permissions();
    EXPECT_EQ(std::filesystem::perms::owner_read | std::filesystem::perms::owner_write, mode);
    std::filesystem::remove(Path("shop/message.key"));
    EXPECT_NE(made, ForSending());
    EXPECT_EQ("", front_.notices);
}

TEST_F(MessageKeyTest, ADamagedOneIsToldAndNeverReplaced) {
    ForSending();
    std::string const whole = Content("shop/message.key");
    for (std::string const& damaged :
         {std::string(), whole.substr(0, whole.size() - 1), Replaced(whole, "key ", "key 0"), "x" + whole}) {
        Put("shop/message.key", damaged);
        front_.notices.clear();
        EXPECT_EQ("", ForSending());
        EXPECT_NE(std::string::npos, front_.notices.find("署名の鍵が壊れています")) << damaged;
        EXPECT_EQ(damaged, Content("shop/message.key"));
    }
}

}  // namespace
