#include "engine/sending/current_customers.h"

#include <atomic>
#include <thread>

#include "engine/customers/customer_table.h"
#include "tests/engine/scratch_shop.h"

namespace {

using engine::Session;
using engine::Standing;

class CurrentCustomersTest : public engine_tests::ScratchShop {
  protected:
    CurrentCustomersTest() { Import("メール,姓\r\na@b.jp,表\r\nc@d.jp,髙山\r\n"); }
    void Change(std::string const& value) const {
        Session session = Open(Session::For::changing);
        engine::ChangeCustomer(session, 0, {value});
    }
    static std::string AddressOf(engine::CurrentCustomers& customers) {
        OneCustomer customer;
        return customers.Get(0, customer) == Standing::recipient ? std::string(customer.Email.View())
                                                                 : "none";
    }
    static constexpr char const* table = "shop/DB/database.dat";
    static constexpr char const* damaged = "gg\r\n";  // no row under any key
};

TEST_F(CurrentCustomersTest, WaitsForATableThatIsBeingPutBack) {
    Session session = Open(Session::For::reading);
    engine::CurrentCustomers customers(session);
    EXPECT_EQ("a@b.jp", AddressOf(customers));
    Change("メールアドレス=new@b.jp");
    EXPECT_EQ("new@b.jp", AddressOf(customers));
    std::string const whole = Content(table);
    for (char const* const part : {"", damaged}) {
        std::filesystem::remove(Path(table));
        if (*part) Put(table, part);
        std::thread other([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(250));
            Put(table, whole);
        });
        EXPECT_EQ("new@b.jp", AddressOf(customers)) << part;
        other.join();
    }
    Put(table, damaged);
    front_.stop = true;  // else it waits for seconds
    EXPECT_EQ("damaged_file", FailureOf([&] { AddressOf(customers); }));
}

TEST_F(CurrentCustomersTest, EveryThreadSeesEachChange) {
    Session session = Open(Session::For::reading);
    engine::CurrentCustomers customers(session);
    std::atomic<int> written = 0, wrong = 0;
    std::atomic<bool> end = false;
    std::vector<std::jthread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back([&] {
            while (!end) {
                int const least = written;
                std::string const address = AddressOf(customers);
                int const seen = address == "a@b.jp" ? 0 : std::stoi(address.substr(1));
                if (seen < least) ++wrong;
            }
        });
    for (int i = 1; i <= 10; ++i) {
        Change("メールアドレス=n" + std::to_string(i) + "@b.jp");
        written = i;
    }
    end = true;
    threads.clear();
    EXPECT_EQ(0, wrong);
}

}  // namespace
