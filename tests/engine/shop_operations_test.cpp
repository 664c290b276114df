#include "engine/customers/customer_table.h"
#include "engine/customers/testers.h"
#include "engine/environment/environment_summary.h"
#include "engine/environment/new_environment.h"
#include "engine/environment/settings.h"
#include "engine/mails/stored_mails.h"
#include "engine/targets/groups.h"
#include "tests/engine/scratch_shop.h"

namespace {

using engine::Session;
using Texts = std::vector<std::string>;

// A shop with two mails and three customers, one of whom refuses mail.
class ShopOperations : public engine_tests::ScratchShop {
  protected:
    ShopOperations() {
        Import("メール,姓,名,DM送付可否\r\na@b.jp,表,花子,Y\r\nc@d.jp,髙山,愛,Y\r\ne@f.jp,表,健,N\r\n");
        engine::MailArguments arguments;
        arguments.draft = Put("draft", "Subject: Sale\n\nText\n");
        for (int mail = 0; mail < 2; ++mail) engine::CreateMail(access_, env_, arguments);
    }

    std::string FailureIn(std::function<void(Session&)> const& work) {
        return FailureOf([&] {
            Session session = Open(Session::For::changing);
            work(session);
        });
    }
    std::string Addresses(Session& session, engine::CustomerView view) {
        engine::CustomerList const list(session, view, "個人情報ID,メールアドレス");
        std::string all;
        for (std::size_t row = 0; row < list.Size(); ++row) all += list.Row(row)[0] + list.Row(row)[1] + " ";
        return all;
    }
};

TEST_F(ShopOperations, FailuresGoByTheirNamesAndChangeNothing) {
    using namespace engine;
    {
        Session session = Open(Session::For::changing);
        SelectTargets(session, 0, {});
        SaveGroup(session, 0, "全員");
        SaveGroup(session, 0, "前の");
        DeleteGroup(session, "前の");
        EraseCustomers(session, {1});
    }
    struct Row {
        char const* name;
        std::function<void(Session&)> work;
    };
    Row const rows[] = {
        {"customer_not_found", [](Session& s) { FieldsOf(s, 9); }},
        {"customer_not_found",
         [](Session& s) {
             DeleteCustomers(s, {0, 9});
         }},
        {"erased",
         [](Session& s) {
             RestoreCustomers(s, {0, 1});
         }},
        {"customer_exists", [](Session& s) { AddCustomer(s, {"メールアドレス=A@b.jp"}); }},
        {"customer_exists", [](Session& s) { ChangeCustomer(s, 0, {"メールアドレス=e@f.jp"}); }},
        {"invalid_value", [](Session& s) { AddCustomer(s, {"名前(姓)=表"}); }},
        {"invalid_value",
         [](Session& s) {
             ChangeCustomer(s, 0, {"名前(姓)=森", "生年月日=2023/2/29"});
         }},
        {"unknown_column", [](Session& s) { CustomerList(s, CustomerView::all, "1,氏名"); }},
        {"text_without_form", [](Session& s) { ChangeCustomer(s, 0, {"名前(姓)=💌"}); }},
        {"tester_not_found", [](Session& s) { DeleteTesters(s, {0}); }},
        {"invalid_value", [](Session& s) { AddTester(s, {"名前(姓)=表"}); }},
        {"unknown_setting",
         [](Session& s) {
             ChangeSettings(s, {{"smtp.host", "x"}, {"nope", "1"}});
         }},
        {"invalid_value",
         [](Session& s) {
             ChangeSettings(s, {{"smtp.host", "x"}, {"smtp.port", "0"}});
         }},
        {"text_without_form",
         [](Session& s) {
             ChangeSettings(s, {{"from.name", "店💌"}});
         }},
        {"mail_not_found", [](Session& s) { SelectTargets(s, 9, {}); }},
        {"mail_not_found", [](Session& s) { ListRecipients(s, 9, 0); }},
        {"no_conditions", [](Session& s) { SelectTargetsAgain(s, 1); }},
        {"unknown_column",
         [](Session& s) {
             SelectTargets(s, 0, {{"県=東京", false}});
         }},
        {"invalid_condition",
         [](Session& s) {
             SelectTargets(s, 0, {{"東京", false}});
         }},
        {"not_a_date",
         [](Session& s) {
             SelectTargets(s, 0, {{"生年月日=4月", false}});
         }},
        {"no_conditions", [](Session& s) { SaveGroup(s, 1, "新しい"); }},
        {"group_exists", [](Session& s) { SaveGroup(s, 0, "全員"); }},
        {"invalid_value", [](Session& s) { RenameGroup(s, "全員", "12"); }},
        {"invalid_value", [](Session& s) { RenameGroup(s, "全員", "a\nb"); }},
        {"group_not_found", [](Session& s) { ApplyGroup(s, "無い", 1, Apply::stored); }},
        {"deleted", [](Session& s) { ApplyGroup(s, "前の", 1, Apply::stored); }},
        {"not_deleted", [](Session& s) { RestoreGroup(s, "全員"); }},
        {"mail_not_found", [](Session& s) { ApplyGroup(s, "全員", 9, Apply::stored); }},
    };
    static_cast<void>(FailureIn([](Session& session) { Testers(session); }));  // makes their file
    std::string const before = Everything();
    for (Row const& row : rows) {
        EXPECT_EQ(row.name, FailureIn(row.work)) << &row - rows;
        EXPECT_EQ(before, Everything()) << &row - rows;
    }
    front_.password = "違う";
    EXPECT_EQ("wrong_password", FailureIn([](Session&) {}));
    EXPECT_EQ("file_exists", FailureOf([&] { CreateEnvironment(access_, env_, ""); }));
    EXPECT_EQ("environment_not_found",
              FailureOf([&] { Session(access_, Path("x.tsl"), Session::For::reading); }));
}

TEST_F(ShopOperations, CustomersAndTestersComeAndGo) {
    Session session = Open(Session::For::changing);
    EXPECT_EQ(3, engine::AddCustomer(session, {"メールアドレス=g@h.jp", "生年月日=1990/4/1"}));
    engine::ChangeCustomer(session, 3, {"名前(姓)=山﨑=", "郵便番号=150-0001"});
    engine::DeleteCustomers(session, {0, 2});
    EXPECT_EQ("1c@d.jp 3g@h.jp ", Addresses(session, engine::CustomerView::live));
    engine::RestoreCustomers(session, {2});
    engine::EraseCustomers(session, {1});
    EXPECT_EQ("0a@b.jp 1 ", Addresses(session, engine::CustomerView::deleted));
    for (char const* name : {"一", "二", "三"})
        engine::AddTester(session, {"メールアドレス=t@b.jp", std::string("名前(姓)=") + name});
    engine::DeleteTesters(session, {1});

    std::string fields;
    for (auto const& [title, value] : engine::FieldsOf(session, 3))
        if (!title.ends_with("日時")) fields += title + "=" + value + " ";
    EXPECT_EQ(
        "個人情報ID=3 メールアドレス=g@h.jp 名前(姓)=山﨑= 生年月日=1990/04/01 00:00:00 郵便番号=1500001 "
        "DM送付可否=Y DM以外送付可否=Y ",
        fields);
    engine::TesterTable const testers = engine::ListTesters(session, "個人情報ID,名前(姓)");
    EXPECT_EQ((Texts{"個人情報ID", "名前(姓)"}), testers.titles);
    EXPECT_EQ((std::vector<Texts>{{"0", "一"}, {"2", "三"}}), testers.rows);
    EXPECT_EQ(3, engine::AddTester(session, {"メールアドレス=u@b.jp"}).key);
}

TEST_F(ShopOperations, SettingsAndSummary) {
    using namespace engine;
    {
        Session session = Open(Session::For::changing);
        ChangeSettings(session,
                       {{"smtp.password", "ひ=み"}, {"from.name", " 表,\"店\" "}, {"smtp.host", "mail"}});
        DeleteCustomers(session, {0});
    }
    Session session = Open(Session::For::reading);
    SettingValue const secret = ValueOf(session, SettingNamed("smtp.password"));
    EXPECT_TRUE(secret.secret && secret.value.empty() && !secret.empty);
    EXPECT_EQ(" 表,\"店\" ", ValueOf(session, SettingNamed("from.name")).value);
    EXPECT_TRUE(ValueOf(session, SettingNamed("from.address")).empty);
    EnvironmentSummary const summary = SummaryOf(session);
    EXPECT_TRUE(summary.has_password);
    EXPECT_EQ(2U, summary.customers);
    EXPECT_EQ(1U, summary.deleted_customers);
    EXPECT_EQ("mail:25", summary.server + ":" + summary.port);
    EXPECT_EQ(Path("shop"), summary.data_directory);
}

TEST_F(ShopOperations, GroupsKeepConditionsAndRecipientsForOtherMails) {
    using namespace engine;
    Session session = Open(Session::For::changing);
    SelectTargets(session, 0, {{"名前(姓)=表", false}, {"名前(名)=一", true}});
    EXPECT_EQ((Texts{"名前(姓)が「表」を含む", "名前(名)が「一」を含む"}), ConditionsOf(session, 0));
    SavedGroup const saved = SaveGroup(session, 0, "表さん");
    EXPECT_EQ(1U, saved.recipients);
    SelectTargets(session, 0, {});
    SaveGroup(session, 0, "全員");
    AddCustomer(session, {"メールアドレス=g@h.jp", "名前(姓)=表", "会社名=A,B"});

    struct Row {
        char const* group;
        Apply apply;
        std::size_t chosen;
        Texts addresses;
    };
    Row const rows[] = {{"表さん", Apply::stored, 1, {"a@b.jp"}},
                        {"0", Apply::anew, 2, {"a@b.jp", "g@h.jp"}},
                        {"全員", Apply::stored, 2, {"a@b.jp", "c@d.jp"}}};
    for (Row const& row : rows) {
        Choice const choice = ApplyGroup(session, row.group, 1, row.apply);
        EXPECT_EQ(row.chosen, choice.recipients) << row.group;
        EXPECT_EQ(4U, choice.customers) << row.group;
        Texts addresses;
        for (Recipient const& one : ListRecipients(session, 1, 0).recipients)
            addresses.push_back(one.address);
        EXPECT_EQ(row.addresses, addresses) << row.group;
    }
    RecipientList const limited = ListRecipients(session, 1, 1);
    EXPECT_EQ(1U, limited.recipients.size());
    EXPECT_EQ(2U, limited.total);
    EXPECT_EQ("表 花子", limited.recipients.at(0).name);
    ClearTargets(session, 1);
    EXPECT_EQ(0U, ListRecipients(session, 1, 0).total);

    EXPECT_EQ("みんな", RenameGroup(session, "1", "みんな").name);
    DeleteGroup(session, "みんな");
    SaveGroup(session, 0, "みんな");
    EXPECT_EQ("group_exists", FailureOf([&] { RestoreGroup(session, "1"); }));
    RenameGroup(session, "みんな", "別の人");
    EXPECT_EQ(1, RestoreGroup(session, "みんな").id);
    std::string const cut = Path("shop/EXTRACT/exsl0.dat");
    std::filesystem::resize_file(cut, std::filesystem::file_size(cut) - 1);
    std::vector<GroupSummary> const groups = ListGroups(session, GroupState::live);
    ASSERT_EQ(3U, groups.size());
    EXPECT_FALSE(groups[0].recipients);  // damaged
    EXPECT_EQ("(名前(姓)が「表」を含む) または (名前(名)が「一」を含む)", groups[0].conditions);
    EXPECT_EQ(2U, groups[1].recipients);
    EXPECT_EQ("damaged_file", FailureOf([&] { ApplyGroup(session, "表さん", 1, Apply::stored); }));
}

}  // namespace
