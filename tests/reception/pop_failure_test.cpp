#include <gtest/gtest.h>

#include "tessaly/protocol/pops.h"
#include "tessaly/reception/mail_pop.h"
#include "tests/support/scripted_server.h"

// Both clients give the same data for a failure.

namespace {

using protocol::PopFailure;
using protocol::PopPhase;
using test::ScriptedServer;

constexpr int seconds = 5;

PopFailure OfPlainClient(int port) {
    MailPop client;
    client.SetTimeOutTime(seconds * 1000);
    bool const went_on = client.PopLogin("mrose", "tanstaaf", "127.0.0.1", port, 0) && client.PopListUidl() &&
                         client.GetFailure().phase == PopPhase::none && client.PopRetr(0) &&
                         client.PopDelete(0);
    EXPECT_EQ(went_on, client.GetFailure().phase == PopPhase::none);
    return client.GetFailure();
}

PopFailure OfComponent(int port) {
    POPSHandle const handle = POPS_Create([](void*, int, void*) { return 0; }, nullptr);
    POPS_Set(handle, pops_server, 0, "127.0.0.1", 0);
    POPS_Set(handle, pops_port, 0, port, 0);
    POPS_Set(handle, pops_user, 0, "mrose", 0);
    POPS_Set(handle, pops_password, 0, "tanstaaf", 0);
    POPS_Set(handle, pops_time_limit, 0, seconds, 0);
    platform::ComponentValue const first[] = {1};
    bool const failed = POPS_Do(handle, pops_connect, 0, nullptr, nullptr) ||
                        POPS_Do(handle, pops_list_sizes, 0, nullptr, nullptr) ||
                        POPS_Do(handle, pops_list, 0, nullptr, nullptr) ||
                        POPS_Do(handle, pops_retrieve, 1, first, nullptr) ||
                        POPS_Do(handle, pops_delete, 1, first, nullptr);
    PopFailure const failure = POPS_GetPopFailure(handle);
    EXPECT_EQ(failed, failure.phase != PopPhase::none);
    POPS_Destroy(handle);
    return failure;
}

TEST(PopFailure, StepReplyAndCode) {
    const struct {
        std::string script;
        PopPhase phase;
        bool refused;
        char const *code, *text;
    } rows[] = {
        {"-ERR [IN-USE] locked", PopPhase::greeting, true, "IN-USE", "-ERR [IN-USE] locked"},
        {"|", PopPhase::greeting, true, "", ""},
        {"!", PopPhase::greeting, false, "", ""},
        {"+OK [X]|-ERR [open", PopPhase::login, true, "", "-ERR [open"},
        {"+OK|+OK|-ERR [SYS/TEMP] a [b]", PopPhase::login, true, "SYS/TEMP", "-ERR [SYS/TEMP] a [b]"},
        {"+OK|+OK|+OK|-ERR no [AUTH]", PopPhase::totals, true, "", "-ERR no [AUTH]"},
        {"+OK|+OK|+OK|+OK 1|!", PopPhase::sizes, false, "", ""},
        {"+OK|+OK|+OK|+OK 1|+OK\r\n1 9\r\n!", PopPhase::sizes, false, "", ""},
        {"+OK|+OK|+OK|+OK 1|+OK\r\n1 9\r\n.|-ERR what", PopPhase::unique_ids, true, "", "-ERR what"},
        {"+OK|+OK|+OK|+OK 1|+OK\r\n1 9\r\n.|+OK\r\n1 a\r\n.|-ERR gone", PopPhase::message, true, "",
         "-ERR gone"},
        {"+OK|+OK|+OK|+OK 1|+OK\r\n1 9\r\n.|+OK\r\n1 a\r\n.|+OK\r\n.|-ERR [READ-ONLY]", PopPhase::deletion,
         true, "READ-ONLY", "-ERR [READ-ONLY]"},
        {"+OK|+OK|+OK|+OK 1|+OK\r\n1 9\r\n.|+OK\r\n1 a\r\n.|+OK\r\n.|+OK", PopPhase::none, false, "", ""},
    };
    for (auto const& row : rows)
        for (auto const& ask : {OfPlainClient, OfComponent}) {
            ScriptedServer server(row.script + "|!");  // closes instead of answering QUIT
            PopFailure const failure = ask(server.Port());
            EXPECT_EQ(row.phase, failure.phase) << row.script;
            EXPECT_EQ(row.refused, failure.refused) << row.script;
            EXPECT_EQ(row.code, failure.code) << row.script;
            EXPECT_EQ(row.text, failure.text) << row.script;
        }
    test::RefusingPort const nobody;
    EXPECT_EQ(PopPhase::connect, OfPlainClient(nobody.Port()).phase);
    EXPECT_EQ(PopPhase::connect, OfComponent(nobody.Port()).phase);
}

}  // namespace
