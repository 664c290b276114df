#include "engine/mails/stored_mails.h"

#include "engine/mails/states.h"
#include "engine/sending/mail_preview.h"
#include "engine/targets/conditions.h"
#include "engine/targets/target.h"
#include "tests/engine/scratch_shop.h"

namespace {

using engine::MailArguments;
using engine::MailStatus;

class StoredMails : public engine_tests::ScratchShop {
  protected:
    StoredMails() {
        Import("メール,名前(姓)\r\na@example.jp,表\r\nb@docomo.ne.jp,山田\r\n");
        Put("pc.txt", "Subject: <%名前(姓)%>様へ\n\n<%名前(姓)%> 様\n本文\n");
        Put("nd.txt", "Subject: 携帯\n\n短い本文\n");
    }
    MailArguments From(char const* draft) const {
        MailArguments arguments;
        arguments.draft = Path(draft);
        return arguments;
    }
    int Create(MailArguments const& arguments) const { return engine::CreateMail(access_, env_, arguments); }
    void Change(int mail, MailArguments const& arguments) const {
        engine::ChangeMail(access_, env_, mail, arguments);
    }
    void ChooseEveryone(int mail) const {
        Session session = Open(Session::For::changing);
        ExtractAction set;
        ExtractResultDetail list;
        engine::MakeEmptyConditions(session, set);
        engine::ChooseRecipients(session, mail, set, list);
        engine::StoreTarget(session, mail, set, list);
    }
    engine::StoredMail Described(int mail) const {
        Session session = Open(Session::For::reading);
        return engine::DescribeMail(session, mail);
    }
    std::vector<int> Listed(engine::MailView view) const {
        Session session = Open(Session::For::reading);
        std::vector<int> numbers;
        for (engine::MailRow const& row : ListMails(session, view)) {
            numbers.push_back(row.mail);
            EXPECT_TRUE(row.status ==
                        (view == engine::MailView::deleted ? MailStatus::deleted : MailStatus::draft));
        }
        return numbers;
    }
};

TEST_F(StoredMails, TextsAndAttachmentsByTerminal) {
    Put("表.bin", std::string("\0\xff", 2));
    MailArguments arguments = From("pc.txt");
    arguments.attach = {Path("表.bin")};
    arguments.honorific = "様";
    int const mail = Create(arguments);
    arguments = From("nd.txt");
    arguments.terminal = "nd";
    Change(mail, arguments);

    engine::StoredMail const stored = Described(mail);
    EXPECT_EQ("<%名前(姓)%>様へ", stored.title);
    EXPECT_EQ("様", stored.honorific);
    EXPECT_TRUE(stored.status == MailStatus::draft);
    ASSERT_EQ(2U, stored.texts.size());
    EXPECT_EQ("<%名前(姓)%> 様\n本文\n", stored.texts[0].text);
    ASSERT_EQ(1U, stored.texts[0].attachments.size());
    EXPECT_EQ("表.bin", stored.texts[0].attachments[0].name);
    EXPECT_EQ(nd, stored.texts[1].terminal);
    EXPECT_EQ("携帯", stored.texts[1].subject);

    Set("from.address", "shop@example.jp");
    auto const preview = [&](int customer, std::optional<TermType> terminal) {
        engine::MailPreview const shown =
            engine::PreviewOf(access_, env_, {mail, {}, customer, terminal, false});
        return shown.to.name + "|" + shown.subject + "|" + shown.body + "|" +
               std::to_string(shown.attachments.size());
    };
    EXPECT_EQ("表様|表様へ|表 様\n本文\n|1", preview(0, {}));
    EXPECT_EQ("山田様|携帯|短い本文\n|1", preview(1, {}));
    EXPECT_EQ("山田様|山田様へ|山田 様\n本文\n|1", preview(1, pc));

    ChooseEveryone(mail);
    Session session = Open(Session::For::reading);
    std::string longest;
    for (engine::LongestText const& text : LongestTexts(session, mail, {}))
        longest += std::to_string(text.terminal) + (text.part == engine::LongestText::subject ? "s" : "b") +
                   std::to_string(text.bytes) + " ";
    EXPECT_EQ("0s6 0b13 1s4 1b10 ", longest);
    EXPECT_EQ(2U, LongestTexts(session, mail, nd).size());
    EXPECT_EQ("no_recipients", FailureOf([&] { LongestTexts(session, mail, wl); }));
}

TEST_F(StoredMails, WhatIsRefusedChangesNothing) {
    int const mail = Create(From("pc.txt"));
    Put("large.bin", std::string((2 << 20) + 1, 'x'));
    Put("a:b", "x");
    Put("from.txt", "From: x@example.jp\nSubject: x\n\ny\n");
    Put("word.txt", "Subject: 件\n\n<%なまえ%>\n");
    Put("none.eml", "X: y\r\nContent-Type: text/plain\r\n\r\nx");
    std::string const before = Everything();
    auto const changed = [&](auto const& fill) {
        return [&, fill] {
            MailArguments arguments;
            fill(arguments);
            Change(mail, arguments);
        };
    };
    const struct {
        std::function<void()> work;
        char const* failure;
    } rows[] = {
        {changed([](auto&) {}), "invalid_request"},
        {changed([](auto& given) { given.clear_text = true; }), "invalid_request"},
        {changed([](auto& given) { given.terminal = "xx", given.clear_text = true; }), "invalid_request"},
        {changed([&](auto& given) { given.attach = {Path("large.bin")}; }), "unsuitable_file"},
        {changed([&](auto& given) { given.attach = {Path("a:b")}; }), "unsuitable_file"},
        {changed([&](auto& given) { given.attach = {Path("missing")}; }), "file_not_found"},
        {changed([&](auto& given) { given.detach = {"missing"}; }), "attachment_not_found"},
        {changed([&](auto& given) { given = From("from.txt"); }), "unsuitable_mail"},
        {[&] { Change(9, From("nd.txt")); }, "mail_not_found"},
        {[&] { Create(From("word.txt")); }, "not_confirmed"},
        {[&] { engine::ImportMail(access_, env_, Path("none.eml"), true); }, "incomplete_mail"},
        {[&] { engine::ExportMail(access_, env_, mail, Path("pc.txt"), false); }, "file_exists"},
        {[&] {
             Session session = Open(Session::For::changing);
             engine::DeleteMails(session, {mail, 9});
         },
         "mail_not_found"},
        {[&] {
             Session session = Open(Session::For::changing);
             engine::RestoreMails(session, {mail});
         },
         "not_deleted"},
    };
    for (std::size_t i = 0; i < std::size(rows); ++i)
        EXPECT_EQ(rows[i].failure, FailureOf(rows[i].work)) << "row " << i;
    EXPECT_EQ(before, Everything());
}

TEST_F(StoredMails, CopiedDeletedRestoredAndCarriedByAFile) {
    Put("a.bin", "\xff\x01");
    MailArguments arguments = From("pc.txt");
    arguments.attach = {Path("a.bin")};
    int const mail = Create(arguments);
    int copy = 0;
    {
        Session session = Open(Session::For::changing);
        copy = engine::CopyMail(session, mail);
        engine::DeleteMails(session, {mail});
    }
    EXPECT_EQ(std::vector{copy}, Listed(engine::MailView::kept));
    EXPECT_EQ(std::vector{mail}, Listed(engine::MailView::deleted));
    EXPECT_EQ("deleted", FailureOf([&] { Change(mail, From("nd.txt")); }));
    engine::ExportMail(access_, env_, mail, Path("out.eml"), false);  // of a deleted mail too
    int const again = engine::ImportMail(access_, env_, Path("out.eml"), false);
    for (int const other : {copy, again}) {
        engine::StoredMail const one = Described(mail), same = Described(other);
        EXPECT_EQ(one.title, same.title);
        ASSERT_EQ(1U, same.texts.size());
        EXPECT_TRUE(same.texts[0].text.starts_with(one.texts[0].text)) << same.texts[0].text;
        ASSERT_EQ(1U, same.texts[0].attachments.size());
        EXPECT_EQ("a.bin", same.texts[0].attachments[0].name);
    }
    {
        Session session = Open(Session::For::changing);
        engine::RestoreMails(session, {mail});
    }
    EXPECT_EQ((std::vector{mail, copy, again}), Listed(engine::MailView::kept));
}

}  // namespace
