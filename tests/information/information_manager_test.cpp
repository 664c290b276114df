#include "tessaly/information/information_manager.h"

#include <gtest/gtest.h>

#include <stdlib.h>

#include <string>

#include "tessaly/information/my_https.h"
#include "tessaly/storage/ini_manager.h"
#include "tests/platform/scratch_folder.h"
#include "tests/platform/time_zone.h"
#include "tests/support/scripted_server.h"

namespace {

using test::ScriptedServer;

struct Row {
    CString server = "old", port = "old", user = "old", password = "old";
    int use_auth = 7;
    std::string Text() const {
        return std::string((server + "|" + port + "|" + user + "|" + password).View()) + "|" +
               std::to_string(use_auth);
    }
    int Read(CInformationManager& manager, CString const& file) {
        return manager.GetProxyAuthSetting(file, server, port, user, password, use_auth);
    }
};

TEST(ProxySetting, WrittenAndRead) {
    ScratchFolder const scratch;
    CString const file = scratch.Path("a.ini");
    CInformationManager manager;
    Row none;
    EXPECT_EQ(0, none.Read(manager, file));
    EXPECT_EQ("old|old|old|old|7", none.Text());
    const struct {
        char const *server, *port, *user, *password;
        int use_auth;
        char const* read;
    } rows[] = {{"proxy.example", "8080", "u", "p", 1, "proxy.example|8080|u|p|1"},
                {"表", "80", "a\"b", "\"\",\"1\"", 5, "表|80|a\"b|\"\",\"1\"|1"},
                {"", "", "", "", 1, "||||1"},
                {"s", "1", "u", "p", 0, "s|1|||0"}};
    for (auto const& row : rows) {
        EXPECT_NE(
            0, manager.SetProxyAuthSetting(file, row.server, row.port, row.user, row.password, row.use_auth));
        Row read;
        EXPECT_EQ(1, read.Read(manager, file));
        EXPECT_EQ(row.read, read.Text());
        CString written;
        CIniManager::GetProfileStringA(file, "PROXY", "DATA", written, "");
        EXPECT_EQ(0, written.GetLength() % 4);
        EXPECT_LT(written.Find("proxy"), 0);
    }
    for (char const* bad : {"x", "====", "AAAA", "!!!!", "AAAAA==="}) {
        CIniManager::WriteProfileStringA(file, "PROXY", "DATA", bad);
        Row read;
        EXPECT_EQ(0, read.Read(manager, file)) << bad;
        EXPECT_EQ("||||7", read.Text()) << bad;
    }
    EXPECT_EQ(0, manager.SetProxyAuthSetting(scratch.Path("no\\such"), "s", "1", "", "", 0));
}

// A proxy that answers by itself, so that no test requests the real page.
class Page : public testing::Test {
  protected:
    // Result, and the date.
    std::string Ask(std::string const& answer, bool explicitly) {
        test::Step const hello{""}, reply{answer, false, 1, test::Step::Ending::close};
        test::Step const refusal{"HTTP/1.0 407 no\r\n\r\n", false, 1, test::Step::Ending::close};
        ScriptedServer proxy({{hello, reply}, {hello, refusal}});
        std::string const told = Ask("127.0.0.1", proxy.Port(), explicitly);
        request = proxy.Received().empty() ? "" : proxy.Received()[0];
        return told;
    }
    std::string Ask(std::string const& host, int port, bool explicitly) {
        CInformationManager manager;
        std::string const number = std::to_string(port), place = host + ":" + number;
        for (char const* name : {"http_proxy", "https_proxy"}) setenv(name, place.c_str(), 1);
        unsetenv("no_proxy");
        if (explicitly) {
            EXPECT_NE(0, manager.SetProxyAuthSetting(scratch.Path("a.ini"), host.c_str(), number.c_str(), "u",
                                                     "p", 1));
        }
        COleDateTime date(2000, 1, 1, 0, 0, 0);
        int const result = manager.GetRenewalDateOfNewestInformationPage(date);
        for (char const* name : {"http_proxy", "https_proxy"}) unsetenv(name);
        error = std::string(manager.GetLastError().View());
        EXPECT_EQ(result == 0, error.empty());
        return std::to_string(result) + " " + std::string(date.Format("%Y/%m/%d %H:%M:%S").View());
    }

    TimeZone const zone{"Asia/Tokyo"};
    ScratchFolder const scratch;
    std::string request, error;
};

TEST_F(Page, BothWays) {
    std::string const date = "Last-Modified: Tue, 05 Oct 2004 00:30:15 GMT\r\n";
    const struct {
        std::string answer;
        char const *system, *explicitly;
    } rows[] = {
        {"HTTP/1.1 200 OK\r\nContent-Length: 1\r\nX: y\r\n" + date + "\r\nx", "0 2004/10/05 09:30:15",
         "0 2004/10/05 09:30:15"},
        {"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n", "0 2000/01/01 00:00:00", "0 2000/01/01 00:00:00"},
        {"HTTP/1.1 200 OK\r\nlast-modified: Tue, 05 Oct 2004 00:30:15 GMT\r\n\r\n", "0 2000/01/01 00:00:00",
         "0 2000/01/01 00:00:00"},
        {"HTTP/1.1 200 OK\r\nLast-Modified: soon\r\n\r\n", "0 2000/01/01 00:00:00", "0 2000/01/01 00:00:00"},
        {"HTTP/1.0 404 nowhere\r\n" + date + "\r\n", "404 2000/01/01 00:00:00", "-404 2000/01/01 00:00:00"},
        {"HTTP/1.0 407 404\r\nProxy-Authenticate: Basic realm=x\r\nContent-Length: 0\r\n\r\n",
         "407 2000/01/01 00:00:00", ""},
        {"HTTP/1.0 404 as 407\r\n\r\n", "404 2000/01/01 00:00:00", "-404 2000/01/01 00:00:00"},
        {"HTTP/1.0 503 404 407\r\n\r\n", "1 2000/01/01 00:00:00", "-1 2000/01/01 00:00:00"},
        {"HTTP/1.0 302 x\r\nLocation: https://secure.example/\r\n\r\n", "407 2000/01/01 00:00:00", ""},
        {"HTTP/1.0 500 Not Found\r\n\r\n", "404 2000/01/01 00:00:00", "-404 2000/01/01 00:00:00"},
        {"HTTP/1.0 503 busy\r\n\r\n", "1 2000/01/01 00:00:00", "-1 2000/01/01 00:00:00"},
        {"gibberish\r\n\r\n", "1 2000/01/01 00:00:00", "-1 2000/01/01 00:00:00"},
    };
    for (auto const& row : rows) {
        EXPECT_EQ(row.system, Ask(row.answer, false)) << row.answer;
        EXPECT_EQ(request, "GET http://www.tessaly.example/links/tsl/5/?p=tsl5_start_info HTTP/1.1\r\n");
        if (*row.explicitly == '\0') continue;
        EXPECT_EQ(row.explicitly, Ask(row.answer, true)) << row.answer;
    }
}

// The number of a port and the name of a host are no status of a server.
TEST_F(Page, AProxyThatDoesNotAnswer) {
    test::RefusingPort const refusing;
    const struct {
        char const* host;
        int port;
    } rows[] = {{"127.4.0.7", 40407},
                {"127.4.0.7", 24070},
                {"127.4.0.7", 14047},
                {"proxy404.localhost", refusing.Port()},
                {"407.Not-Found.localhost", refusing.Port()}};
    for (auto const& row : rows)
        for (bool const explicitly : {false, true}) {
            EXPECT_EQ(explicitly ? "-1 2000/01/01 00:00:00" : "1 2000/01/01 00:00:00",
                      Ask(row.host, row.port, explicitly))
                << row.host << ":" << row.port;
            EXPECT_EQ(error.find_first_of("0123456789"), error.npos) << error;
        }
}

TEST_F(Page, AServerThatStopsEndsWithinTheTime) {
    ScriptedServer silent("~");
    CMyHTTPS client;
    HTTPS_Set(client.Handle(), https_time_limit, 0, 1, 0);
    CString const address = ("http://127.0.0.1:" + std::to_string(silent.Port()) + "/").c_str();
    platform::ComponentValue const arguments[] = {address};
    EXPECT_EQ(301, HTTPS_Do(client.Handle(), https_get, 1, arguments, nullptr));
    EXPECT_STREQ("Timeout.", HTTPS_GetLastError(client.Handle()));
    platform::ComponentValue const file[] = {"file:///etc/hostname"};
    EXPECT_NE(0, HTTPS_Do(client.Handle(), https_get, 1, file, nullptr));
    EXPECT_EQ(101, HTTPS_Do(client.Handle(), 99, 0, nullptr, nullptr));
}

}  // namespace
