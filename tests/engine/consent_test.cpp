#include <sys/stat.h>

#include <array>
#include <functional>
#include <utility>

#include "engine/consent/mail_stops.h"
#include "engine/customers/customer_backup.h"
#include "engine/customers/customer_table.h"
#include "engine/customers/kept_refusals.h"
#include "engine/customers/refusal_list.h"
#include "engine/environment/environment_backup.h"
#include "engine/mails/stored_mails.h"
#include "engine/targets/groups.h"
#include "engine/upkeep/environment_check.h"
#include "engine/upkeep/environment_repair.h"
#include "tests/engine/scratch_shop.h"

namespace {

using engine::Session;
using Texts = std::vector<std::string>;

constexpr char const* refusals_list = "shop/CONSENT/refusals.tsv";
constexpr char const* everyone = "メール,姓,DM送付可否\r\na@b.jp,表,Y\r\nc@d.jp,髙山,Y\r\ne@f.jp,表,Y\r\n";
constexpr char const* without_flags = "メール,姓\r\na@b.jp,表\r\nc@d.jp,髙山\r\ne@f.jp,表\r\n";

// A shop with a mail and the customers a@b.jp, c@d.jp and e@f.jp.
class Consent : public engine_tests::ScratchShop {
  protected:
    Consent() {
        Import(everyone);
        engine::MailArguments arguments;
        arguments.draft = Put("draft", "Subject: Sale\n\nText\n");
        engine::CreateMail(access_, env_, arguments);
    }
    void Change(std::function<void(Session&)> const& work) {
        Session session = Open(Session::For::changing);
        work(session);
    }
    void Refuse(Texts const& addresses) {
        Change([&](Session& s) { AddRefusals(s, addresses, engine::RefusedBy::user, "電話で"); });
    }
    void Replace(std::string const& csv, std::string const& consent = {}) {
        Session session = Open(Session::For::changing);
        engine::CsvImport import;
        import.file = Put("list.csv", csv);
        import.replace = true;
        import.consent = consent;
        import.Run(session);
    }
    // Whom a choice of everyone gives.
    std::string Chosen() {
        Session session = Open(Session::For::changing);
        engine::SelectTargets(session, 0, {});
        std::string all;
        for (engine::Recipient const& one : engine::ListRecipients(session, 0, 0).recipients)
            all += one.address + " ";
        return all;
    }
    // Address and flag of each live customer.
    std::string Flags() {
        Session session = Open(Session::For::reading);
        engine::CustomerList const list(session, engine::CustomerView::live, "メールアドレス,DM送付可否");
        std::string all;
        for (std::size_t row = 0; row < list.Size(); ++row) all += list.Row(row)[0] + list.Row(row)[1] + " ";
        return all;
    }
    std::string OpenList() {
        return FailureOf([&] {
            Session session = Open(Session::For::reading);
            engine::Refusals const refusals(session);
        });
    }
};

TEST_F(Consent, ARefusalStaysByAddressUntilItIsLifted) {
    Refuse({"C@D.jp", "nobody@x.jp"});
    EXPECT_EQ("a@b.jp e@f.jp ", Chosen());
    struct stat status {};
    ASSERT_EQ(0, stat(Path(refusals_list).c_str(), &status));
    EXPECT_EQ(0600U, status.st_mode & 0777U);
    auto const lift = [&](char const* address, char const* consent) {
        return FailureOf([&] {
            Session session = Open(Session::For::changing);
            engine::LiftRefusals(session, {address}, consent);
        });
    };
    EXPECT_EQ("not_confirmed", lift("c@d.jp", ""));
    EXPECT_EQ("invalid_value", lift("a@b.jp", "店頭で"));
    EXPECT_EQ("a@b.jpY c@d.jpN e@f.jpY ", Flags());
    EXPECT_EQ("", lift("c@D.jp", "店頭で\t署名"));
    EXPECT_EQ("a@b.jpY c@d.jpY e@f.jpY ", Flags());
    EXPECT_EQ("a@b.jp c@d.jp e@f.jp ", Chosen());
    Session session = Open(Session::For::reading);
    engine::Refusals const refusals(session);
    ASSERT_EQ(3U, refusals.History().size());
    EXPECT_EQ("店頭で\t署名", refusals.History()[2].refusal.note);
    EXPECT_TRUE(refusals.History()[2].lifted);
    EXPECT_TRUE(refusals.Contains("nobody@x.jp"));
    EXPECT_EQ(1U, refusals.Size());
}

// Each brings c@d.jp back with Y, or would.
TEST_F(Consent, NothingRevivesARefuser) {
    Change([&](Session& s) {
        engine::BackUpEnvironment(s, Path("all.tar"), false);
        engine::BackUpCustomers(s, Path("customers.dat"), false);
        engine::SelectTargets(s, 0, {});
        engine::SaveGroup(s, 0, "全員");
    });
    std::pair<char const*, std::function<void()>> const ways[] = {
        {"import", [&] { Import(everyone); }},
        {"replace", [&] { Replace(everyone); }},
        {"undo",
         [&] {
             Session session(access_, env_, Session::For::restoring);
             engine::UndoKeepingRefusals(session, false);
         }},
        {"set", [&] { Change([](Session& s) { engine::ChangeCustomer(s, 1, {"DM送付可否=Y"}); }); }},
        {"restore",
         [&] {
             Session session(access_, env_, Session::For::restoring);
             engine::RestoreKeepingRefusals(session, access_, Path("all.tar"), true);
         }},
        {"restore customers",
         [&] {
             Replace("メール\r\na@b.jp\r\ne@f.jp\r\n");
             Change([&](Session& s) { engine::RestoreCustomers(s, Path("customers.dat")); });
         }},
        {"add",
         [&] {
             Replace("メール\r\na@b.jp\r\ne@f.jp\r\n");
             Change([](Session& s) { engine::AddCustomer(s, {"メールアドレス=C@d.jp", "DM送付可否=Y"}); });
         }},
    };
    Refuse({"c@d.jp"});
    for (auto const& [name, bring_back] : ways) {
        bring_back();
        EXPECT_NE(std::string::npos, Flags().find("@d.jpN")) << name << " " << Flags();
        EXPECT_EQ("a@b.jp e@f.jp ", Chosen()) << name;
    }
    Session session = Open(Session::For::changing);
    engine::Refusals const refusals(session);
    OneCustomer registered;
    registered.Email = "C@D.JP";
    registered.DMOk = "Y";
    EXPECT_TRUE(engine::KeepRefusal(refusals, registered));
    EXPECT_EQ("N", registered.DMOk);
    EXPECT_FALSE(engine::KeepRefusal(refusals, registered));
}

TEST_F(Consent, WhatStaysIsCountedAndConsentLiftsIt) {
    Refuse({"c@d.jp", "e@f.jp"});
    front_.notices.clear();
    Import(everyone);
    EXPECT_NE(std::string::npos,
              front_.notices.find("配信停止の申し出のある宛先 2件 は、停止のままにしました"));
    Replace(without_flags, "同意書");  // a new row without a flag has Y
    EXPECT_EQ("a@b.jpY c@d.jpY e@f.jpY ", Flags());
    Import("メール,DM送付可否\r\nc@d.jp,N\r\nnew@x.jp,N\r\n");
    Import("メール,DM送付可否\r\nc@d.jp,Y\r\nnew@x.jp,Y\r\n");
    EXPECT_EQ("a@b.jpY c@d.jpN e@f.jpY new@x.jpN ", Flags());
    Session session = Open(Session::For::reading);
    engine::Refusals const refusals(session);
    ASSERT_NE(nullptr, refusals.Find("new@x.jp"));
    EXPECT_EQ(engine::RefusedBy::import, refusals.Find("new@x.jp")->how);
}

// A table as an earlier version leaves it, without a list.
TEST_F(Consent, RefusersOfAnEarlierVersionComeToTheListWithTheFirstChange) {
    Change([](Session& s) { engine::ChangeCustomer(s, 1, {"DM送付可否=N"}); });
    std::filesystem::remove_all(Path("shop/CONSENT"));
    Import(everyone);
    EXPECT_EQ("a@b.jpY c@d.jpN e@f.jpY ", Flags());
    Refuse({"a@b.jp"});
    // The row alone says Y, whatever wrote it.
    Change([](Session& s) {
        OneCustomer customer = engine::CustomerWith(s, 0);
        customer.DMOk = "Y";
        s.Customers().SetOneCustomerInfo(customer, CDatabaseEdit::store_in_memory);
        s.SaveCustomers();
    });
    EXPECT_EQ("e@f.jp ", Chosen());
}

TEST_F(Consent, DeletedCustomersStayDeleted) {
    Change([](Session& s) { engine::DeleteCustomers(s, {0, 1}); });
    auto const import = [&](bool replace, bool restore) {
        Session session = Open(Session::For::changing);
        engine::CsvImport csv;
        csv.file = Put("list.csv", "メール,姓\r\nA@b.jp,新\r\ne@f.jp,新\r\n");
        csv.replace = replace;
        csv.restore_deleted = restore;
        front_.results.clear();
        csv.Run(session);
    };
    import(false, false);
    EXPECT_EQ("e@f.jpY ", Flags());
    EXPECT_NE(std::string::npos, front_.results.find("新規 0件、更新 1件"));
    {
        Session session = Open(Session::For::reading);
        EXPECT_EQ("表", engine::FieldsOf(session, 0)[2].value);
    }
    import(true, false);
    EXPECT_EQ("e@f.jpY ", Flags());
    EXPECT_NE(std::string::npos, front_.results.find("新規 1件、更新 0件"));
    import(false, true);
    EXPECT_EQ("A@b.jpY e@f.jpY ", Flags());
}

// Whatever is lost of the list, nobody is mailed by it until it is repaired, and no customer who refused is
// mailed then.
TEST_F(Consent, AListThatIsNotWholeLetsNobodyBeMailed) {
    Refuse({"c@d.jp"});
    std::string const older = Content(refusals_list);
    Refuse({"e@f.jp", "nobody@x.jp"});
    std::string const whole = Content(refusals_list),
                      record = Content(std::string(refusals_list) + ".record");
    std::vector<std::string> damaged = {older, "", whole + "x", whole + whole};
    for (std::size_t at = 0; at < whole.size(); ++at) {
        damaged.push_back(whole.substr(0, at));
        for (char const bit : {'\1', '\x20', '\x80'}) {
            damaged.push_back(whole);
            damaged.back()[at] = static_cast<char>(whole[at] ^ bit);
        }
    }
    for (std::string const& content : damaged) {
        Put(refusals_list, content);
        ASSERT_EQ("damaged_file", OpenList()) << content;
    }
    std::filesystem::remove(Path(refusals_list));
    EXPECT_EQ("damaged_file", OpenList());
    // The file tells by itself, without its record.
    std::filesystem::remove(Path(std::string(refusals_list) + ".record"));
    for (std::size_t i = 1; i < damaged.size(); i += 7) {
        Put(refusals_list, damaged[i]);
        ASSERT_EQ("damaged_file", OpenList()) << damaged[i];
    }
    for (std::string const& content :
         {std::string(), older, whole.substr(0, whole.size() / 2), whole + "x"}) {
        Put(refusals_list, content);
        Put(std::string(refusals_list) + ".record", record);
        EXPECT_EQ("damaged_file", FailureOf([&] { Chosen(); }));
        EXPECT_EQ("damaged_file", FailureOf([&] { Import(everyone); }));
        EXPECT_FALSE(engine::CheckEnvironment(access_, env_));
        engine::RepairEnvironment(access_, env_, {"", true});
        EXPECT_TRUE(engine::CheckEnvironment(access_, env_));
        Import(everyone);
        EXPECT_EQ("a@b.jp ", Chosen()) << content;
    }
}

TEST_F(Consent, ABackupGivesBackWhatTheListLost) {
    Refuse({"nobody@x.jp", "c@d.jp"});
    Change([&](Session& s) { engine::LiftRefusals(s, {"c@d.jp"}, "店頭で"); });
    Change([&](Session& s) { engine::BackUpEnvironment(s, Path("all.tar"), false); });
    Refuse({"later@x.jp"});
    std::string const whole = Content(refusals_list);
    std::size_t const second = whole.find("\n2\t") + 1;
    Put(refusals_list, whole.substr(0, whole.find("\n1\t") + 1) + whole.substr(second));
    engine::RepairEnvironment(access_, env_, {Path("all.tar"), true});
    Session session = Open(Session::For::reading);
    engine::Refusals const refusals(session);
    for (auto const& [address, refused] : {std::pair("nobody@x.jp", true), std::pair("later@x.jp", true),
                                           std::pair("c@d.jp", false), std::pair("a@b.jp", false)})
        EXPECT_EQ(refused, refusals.Contains(address)) << address;
}

TEST_F(Consent, BouncesSuspendAnAddress) {
    using enum engine::Bounce;
    struct Row {
        int mail;
        engine::Bounce bounce;
        char const* time;
        bool suspended;
    };
    struct Case {
        char const* name;
        Texts settings;
        std::vector<Row> rows;
    };
    Case const cases[] = {
        {"one hard", {}, {{1, hard, "2026/01/01 00:00:00", true}}},
        {"two hard of different mails",
         {"suspend.hard=2"},
         {{1, hard, "2026/01/01 00:00:00", false},
          {1, hard, "2026/02/01 00:00:00", false},
          {2, hard, "2026/03/01 00:00:00", true}}},
        {"three soft within the days",
         {},
         {{1, soft, "2026/01/01 00:00:00", false},
          {2, soft, "2026/01/15 00:00:00", false},
          {2, soft, "2026/01/20 00:00:00", false},
          {3, soft, "2026/01/31 00:00:00", true}}},
        {"three soft, the first too old",
         {},
         {{1, soft, "2026/01/01 00:00:00", false},
          {2, soft, "2026/01/15 00:00:00", false},
          {3, soft, "2026/01/31 00:00:01", false},
          {4, soft, "2026/01/14 00:00:00", true}}},
        {"never",
         {"suspend.hard=0", "suspend.soft=0"},
         {{1, hard, "2026/01/01 00:00:00", false}, {1, soft, "2026/01/01 00:00:00", false}}},
    };
    for (Case const& one : cases) {
        for (char const* name : {"suspend.hard=1", "suspend.soft=3"})
            Set(std::string(name).substr(0, 12), std::string(name).substr(13));
        for (std::string const& text : one.settings) Set(text.substr(0, 12), text.substr(13));
        std::filesystem::remove_all(Path("shop/CONSENT"));
        Session session = Open(Session::For::changing);
        engine::Suspensions list(session);
        for (std::size_t i = 0; i < one.rows.size(); ++i) {
            Row const& row = one.rows[i];
            EXPECT_EQ(row.suspended,
                      list.CountBounce("C@d.jp", row.mail, row.bounce, row.time, "user unknown"))
                << one.name << " " << i;
        }
        list.Save();
        engine::Suspensions const again(session);
        EXPECT_EQ(one.rows.back().suspended, again.Contains("c@d.jp")) << one.name;
    }
}

TEST_F(Consent, ASuspendedAddressIsLeftOutUntilItIsLifted) {
    Change([](Session& s) {
        engine::SelectTargets(s, 0, {});
        engine::SaveGroup(s, 0, "全員");
        engine::Suspensions list(s);
        list.CountBounce("a@b.jp", 0, engine::Bounce::hard, "2026/11/23 10:00:00");
        list.CountBounce("c@d.jp", 0, engine::Bounce::hard, "2026/11/23 10:00:00");
        list.Save();
    });
    EXPECT_EQ("e@f.jp ", Chosen());
    EXPECT_NE(std::string::npos, front_.notices.find("届かないので止めている 2人には送りません"));
    Change([](Session& s) {
        EXPECT_EQ(1U, engine::ApplyGroup(s, "全員", 0, engine::Apply::stored).recipients);
    });
    Change([](Session& s) { engine::ChangeCustomer(s, 0, {"メールアドレス=new@b.jp"}); });
    Change([](Session& s) { engine::ChangeCustomer(s, 0, {"メールアドレス=a@b.jp"}); });
    EXPECT_EQ("a@b.jp e@f.jp ", Chosen());
    Change([](Session& s) { engine::LiftSuspensions(s, {"C@d.jp"}); });
    EXPECT_EQ("a@b.jp c@d.jp e@f.jp ", Chosen());
    Change([](Session& s) {
        engine::Suspensions list(s);
        EXPECT_FALSE(
            list.CountBounce("c@d.jp", 0, engine::Bounce::hard, "2026/11/23 10:00:00"));  // from before
        list.Add({"c@d.jp", engine::Suspension::By::user, -1, "メモ", {}});
        list.Save();
    });
    Put("shop/CONSENT/suspended.tsv", Content("shop/CONSENT/suspended.tsv").substr(0, 60));
    EXPECT_EQ("damaged_file", FailureOf([&] { Chosen(); }));
    engine::RepairEnvironment(access_, env_, {"", true});
    EXPECT_EQ("a@b.jp c@d.jp e@f.jp ", Chosen());
}

}  // namespace
