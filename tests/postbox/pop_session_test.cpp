#include "postbox/pop_session.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/platform/scratch_folder.h"

namespace {

struct Exchange {
    std::string line, reply;  // "?" at its end: the start of it
};

void Play(postbox::PopSession& session, std::vector<Exchange> const& exchanges) {
    for (auto const& [line, reply] : exchanges) {
        std::string const told = session.Line(line);
        if (reply.ends_with('?'))
            EXPECT_TRUE(told.starts_with(reply.substr(0, reply.size() - 1))) << line << "\n-> " << told;
        else
            EXPECT_EQ(told, reply + "\r\n") << line;
    }
}

// RFC 1939: a deleted message is gone for the rest of the session, and for good at its end.
TEST(PopSession, MessagesAndWhatIsNoneOfThem) {
    ScratchFolder const scratch;
    for (char const* mail : {"1", "2", "3"})
        std::ofstream(scratch.Host(std::string(mail) + ".eml")) << ".a" << mail << "\n";
    postbox::PostboxRules const rules;
    constexpr char const *none = "-ERR no such message", *unknown = "-ERR unknown command";
    postbox::PopSession session(rules, scratch.Host(), "<1@x>");
    Play(session, {{"NOOP", "-ERR log in first"},
                   {"USER", "-ERR log in first"},
                   {"PASS x", "-ERR log in first"},
                   {"user shop", "+OK"},
                   {"PASS x", "+OK"},
                   {"STAT", "+OK 3 12"},
                   {"RETR 1", "+OK\r\n..a1\r\n."},
                   {"LIST 3", "+OK 3 4"},
                   {"UIDL 3", "+OK 3 3.eml-?"},
                   {"RETR 0", none},
                   {"RETR 4", none},
                   {"RETR 1x", none},
                   {"DELE", none},
                   {"DELE 4", none},
                   {"TOP 1 0", unknown},
                   {"RETRX 1", unknown},
                   {"USER a", unknown},
                   {"dele 3", "+OK"},
                   {"DELE 3", none},
                   {"RETR 3", none},
                   {"LIST 3", none},
                   {"UIDL 3", none},
                   {"LIST", "+OK\r\n1 4\r\n2 4\r\n."},
                   {"STAT", "+OK 2 8"},
                   {"RSET", "+OK"},
                   {"STAT", "+OK 3 12"},
                   {"DELE 2", "+OK"},
                   {"NOOP", "+OK"},
                   {"QUIT", "+OK"}});
    EXPECT_TRUE(session.Ended());
    EXPECT_TRUE(std::filesystem::exists(scratch.Host("1.eml")));
    EXPECT_FALSE(std::filesystem::exists(scratch.Host("2.eml")));
    EXPECT_TRUE(std::filesystem::exists(scratch.Host("3.eml")));
}

}  // namespace
