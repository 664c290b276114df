// The customer table: import, write, load, scans, look-ups.
#include <sys/wait.h>
#include <tessaly/customers.h>
#include <tessaly/environment.h>
#include <tessaly/storage.h>
#include <tessaly/text.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <random>
#include <stdexcept>

#include "measure.h"

namespace measure {
namespace {

constexpr char const* key = "measure";
constexpr int settings_cells = 123;
constexpr int columns = 56;
// Elements of the scans: prefecture and street, and the columns with 47 and 2,017 different values.
constexpr int prefecture = 11, street = 13;
constexpr int values_47 = 11, values_2017 = 34;

// Which column of the data's file feeds which element: each has to pass the import's rule for its element.
// Nine of the data's last columns, mostly empty, have no element left.
constexpr int no_column = -1;
constexpr int assignment[columns] = {
    no_column, 1, 2, 3, 4, 5, 7, 8, 19, 10,                       // address, names, company, birthday, postal
                                                                  // code
    no_column, 11, 12, 13, 14, 15, no_column, 16, no_column, 17,  // prefecture to mobile
    no_column, no_column, no_column, 39, 40, 41, 42,
    43,                                                                            // flags, spare
    6, 9, 18, 20, 21, 22, 25, 23, 24, 28, 29, 30, 31, 32, 33, 34, 35, 36, 37, 38,  // attributes
    44, 45, 46, 47, 48, no_column, 26, 27};  // spare, delete flag, dates

class Shop {
  public:
    explicit Shop(bool create) {
        CString const root = platform::LibraryPath(ScratchFolder());
        CString const file = root + "\\shop.tsl";
        if (create) {
            for (char const* folder : {"\\shop\\DB", "\\shop\\MAIL", "\\shop\\EXTRACT"})
                MakeDirectoryCompel(root + folder);
            EnvManager::MakeDefaultEnvFile(file, key);
            std::ofstream(ScratchFolder() + "/shop/MAIL/maillist.dat");
        }
        if (environment.InitEnvFileInfo(file, key, 0) != 0) throw std::runtime_error("no environment");
        options.SetEnvManager(&environment);
        CArray<CString, CString> cells;
        cells.SetSize(settings_cells);
        options.SetElementNumber(settings_cells);
        options.SetSODataFromAllDataToMemory(cells);
        customers.SetEnvManager(&environment);
        customers.SetSystemOption(&options);
    }
    EnvManager environment;
    SystemOption options;
    CDatabaseEdit customers;
};

// The peers' data has line ends inside quoted memos; the import takes one record a line, so they become
// blanks in a copy of the file, outside the measured time.
std::string OneRecordALine(std::string const& path) {
    std::string text = Slurp(path);
    bool quoted = false;
    for (char& c : text) {
        if (c == '"') quoted = !quoted;
        if (quoted && (c == '\r' || c == '\n')) c = ' ';
    }
    std::string const copy = ScratchFolder() + "/customers.csv";
    std::ofstream(copy, std::ios::binary) << text;
    sync();  // so that writing the copy to the disk is over before anything is measured
    return copy;
}

double Import(CDatabaseEdit& customers, CString const& path) {
    CArray<int, int> elements, error_lines;
    CArray<CString, CString> error_texts;
    for (int const column : assignment) elements.Add(column);
    int imported = 0;
    double const start = Now();
    int const result =
        customers.ImportDBfromFile(path, ",", '"', elements, 1, &imported, error_lines, error_texts, "1");
    double const used = Now() - start;
    Note("imported " + std::to_string(result) + ", refused " + std::to_string(error_lines.GetSize()));
    if (result < 0) throw std::runtime_error("import failed");
    return used;
}

void ImportAndWrite(std::string const& task, std::string const& csv) {
    Shop shop(true);
    CString const path = platform::LibraryPath(OneRecordALine(csv));
    Row(task + "CSV import, new addresses", Import(shop.customers, path), "s");
    Row(task + "CSV import, all addresses known", Import(shop.customers, path), "s");
    OneCustomer customer;
    constexpr int more = 200;
    shop.customers.GetOneCustomerForNew(customer, 1);
    Row(task + "one more customer (SetOneCustomerInfo)",
        1e6 *
            Best(
                [&] {
                    for (int i = 0; i < more; ++i) {
                        customer.CustomerID = -1;
                        customer.Email.Format("more%d@example.jp", i);
                        shop.customers.SetOneCustomerInfo(customer, 0);
                    }
                },
                1) /
            more,
        "us");
    CString const root = platform::LibraryPath(ScratchFolder());
    CString const db_key = shop.environment.GetDBKey();
    Row(task + "write whole table, new file", Best([&] {
            if (shop.customers.WriteFromMemoryToFileAppointFileName(root + "\\shop\\DB\\database.dat",
                                                                    db_key) != 0)
                throw std::runtime_error("write failed");
        }),
        "s");
}

int Count(CDatabaseEdit& customers, bool equal, char const* text, int column) {
    int count = 0;
    for (int row = 0;; ++row) {
        row = equal ? customers.TotalAgreementReference(text, column, row, 1)
                    : customers.PartialAgreementReference(text, column, row, 1);
        if (row < 0) return count;
        ++count;
    }
}

void Scans(std::string const& task, CDatabaseEdit& customers) {
    int equal = 0, within = 0;
    Row(task + "equality scan, 1 column",
        1e3 * Best([&] { equal = Count(customers, true, "東京都", prefecture); }), "ms");
    Row(task + "substring scan, 1 column",
        1e3 * Best([&] { within = Count(customers, false, "八幡5", street); }), "ms");
    Note("counts " + std::to_string(equal) + " " + std::to_string(within));
    for (auto const& [column, label] :
         {std::pair{values_47, "distinct values, 47"}, {values_2017, "distinct values, 2017"}}) {
        CStringList values;
        Row(task + label, 1e3 * Best([&] { customers.GetDBElementGroupBy(column, values, 1, 0); }), "ms");
        Note(std::string(label) + ": " + std::to_string(values.GetCount()));
    }
}

void LookUps(std::string const& task, CDatabaseEdit& customers) {
    constexpr int look_ups = 20000;
    std::mt19937 random(1);
    CArray<int, int> all;
    customers.GetDBIDALL(all);
    std::vector<int> ids;
    std::vector<CString> addresses;
    for (int i = 0; i < look_ups; ++i) {
        ids.push_back(all[static_cast<int>(random() % static_cast<unsigned>(all.GetSize()))]);
        addresses.push_back(customers.GetCustomerDataPinPoint(ids.back(), 1));
    }
    std::size_t found = 0;
    Row(task + "look-up by id, one element",
        look_ups / Best([&] {
            CString value;
            for (int const id : ids)
                found += static_cast<std::size_t>(customers.GetCustomerDataPinPoint(id, 1, value) == 0);
        }),
        "/s");
    Row(task + "look-up by id, whole row",
        look_ups / Best([&] {
            OneCustomer customer;
            for (int const id : ids)
                found += static_cast<std::size_t>(customers.GetOneCustomerForEdit(customer, id) == 0);
        }),
        "/s");
    Row(task + "look-up by address",
        look_ups / Best([&] {
            for (CString const& address : addresses)
                found += static_cast<std::size_t>(
                    customers.SearchCustomerOneElement(1, address, -1, static_cast<Direction>(0)) >= 0);
        }),
        "/s");
    if (found == 0) Note("nothing found");
}

void Load(std::string const& task) {
    Shop shop(false);
    double const before = ResidentMebibytes();
    double const start = Now();
    int const rows = shop.customers.ReadCustomerList();
    Row(task + "load all rows", Now() - start, "s");
    double const memory = ResidentMebibytes() - before;
    Row(task + "load all rows, memory", memory, "MiB");
    Note(std::to_string(rows) + " rows, " + std::to_string(memory * 1024 / rows) + " KiB a row");
    Scans(task, shop.customers);
    LookUps(task, shop.customers);
    Selection(task, shop.environment, shop.customers);
}

// In a process of its own, so that memory is seen alone.
template <class Work>
void Apart(Work work) {
    std::fflush(stdout);
    pid_t const child = fork();
    if (child == 0) {
        int result = 0;
        try {
            work();
        } catch (std::exception const& error) {
            Note(error.what());
            result = 1;
        }
        std::fflush(stdout);
        _exit(result);
    }
    int status = 0;
    if (waitpid(child, &status, 0) != child || status != 0)
        throw std::runtime_error("a part of the table section failed");
}

}  // namespace

void Table(std::string const& data) {
    ScratchFolder();
    for (char const* label : {"100k", "1M"}) {
        std::string const csv = data + "/customers." + label + ".cp932.csv";
        if (!std::ifstream(csv)) continue;
        std::string const task = std::string("table ") + label + ": ";
        Apart([&] { ImportAndWrite(task, csv); });
        Apart([&] { Load(task); });
        RemoveDirectoryCompel(platform::LibraryPath(ScratchFolder()), 0);
    }
}

}  // namespace measure
