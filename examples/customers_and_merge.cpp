// Keeps two customers in an environment and merges a mail for each of them.
//   customers_and_merge FOLDER     makes FOLDER/shop.tsl, or opens the one that is there
#include <tessaly/customers.h>
#include <tessaly/delivery.h>
#include <tessaly/environment.h>
#include <tessaly/storage.h>
#include <tessaly/text.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

namespace fs = std::filesystem;

namespace {

constexpr char const* application_key = "the key of this application";

// The library's texts are bytes in code page 932. This program is UTF-8, and every text crosses here.
CString In(std::string_view utf8) {
    bool exact = true;
    std::string const text = platform::Cp932FromUtf8(utf8, &exact);
    if (!exact) throw std::runtime_error("No form in code page 932: " + std::string(utf8));
    return CString(std::string_view(text));
}

std::string Out(CString const& text) { return platform::Utf8FromCp932(text.View()); }

// What an object of the library says about its last failure.
std::runtime_error Failure(char const* what, CErrMsg& error) {
    return std::runtime_error(std::string(what) + ": " + Out(error.GetLastMsg()));
}

// Library paths look as C:\dir\name.dat; C: is the host's root.
CString Path(fs::path const& path) { return platform::LibraryPath(path.string()); }

void OpenEnvironment(EnvManager& environment, fs::path const& folder) {
    fs::path const file = folder / "shop.tsl";
    if (!fs::exists(file)) {
        fs::create_directories(folder / "shop" / "DB");
        if (EnvManager::MakeDefaultEnvFile(Path(file), application_key) != EnvManager::ok)
            throw std::runtime_error("Cannot write " + file.string());
    }
    if (environment.InitEnvFileInfo(Path(file), application_key, 0) != EnvManager::ok)
        throw Failure("Cannot open the environment", environment.GetErrMsg());
}

// Loads the customers. A new environment gets an empty table first.
void LoadCustomers(CDatabaseEdit& database, EnvManager& environment) {
    CString const file = environment.DataPath("DB\\database.dat");
    if (!fs::exists(platform::HostPath(file.View())) &&
        database.WriteFromMemoryToFileAppointFileName(file, environment.GetDBKey()) != CDatabaseEdit::ok)
        throw Failure("Cannot make the table of customers", database.GetErrMsg());
    if (database.ReadCustomerList() < 0) throw std::runtime_error("Cannot read " + Out(file));
}

// Stores a customer under the mail address, new or in place of the one who has it.
OneCustomer Store(CDatabaseEdit& database, char const* address, char const* family_name,
                  char const* given_name, char const* prefecture) {
    OneCustomer customer;
    int const known = database.SearchCustomerOneElement(customers::element_address, address,
                                                        OneCustomer::no_id, customers::direction_forward);
    if (known >= 0)
        database.GetOneCustomerForEdit(customer, known);
    else
        database.GetOneCustomerForNew(customer, 1);
    customer.Email = address;
    customer.KanjiSei = In(family_name);
    customer.KanjiMei = In(given_name);
    customer.Prefecture = In(prefecture);
    if (database.SetOneCustomerInfo(customer, 0) != CDatabaseEdit::ok)
        throw Failure("Cannot store the customer", database.GetErrMsg());
    return customer;
}

void Show(OneCustomer const& customer) {
    CString const subject = In("<%名前(姓)%>様へ 秋のご案内");
    CString const body =
        In("<%名前(姓)%> <%名前(名)%> 様\n<%都道府県%>のみなさまに、秋の新作をお届けします。\n");
    std::printf("%d %s\n%s\n%s\n", customer.CustomerID, Out(customer.Email).c_str(),
                Out(MailWordInsert::GetMailWordInsert(customer, subject, 0)).c_str(),
                Out(MailWordInsert::GetMailWordInsert(customer, body, 0)).c_str());
}

void Run(fs::path const& folder) {
    EnvManager environment;
    OpenEnvironment(environment, folder);
    CDatabaseEdit database(&environment);
    LoadCustomers(database, environment);
    Show(Store(database, "hanako@example.jp", "緑野", "花子", "東京都"));
    Show(Store(database, "taro@example.jp", "能登", "太郎", "石川県"));
    if (database.WriteFromMemoryToFile() != CDatabaseEdit::ok)
        throw Failure("Cannot write the customers", database.GetErrMsg());
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 2) {
        std::fprintf(stderr, "customers_and_merge FOLDER\n");
        return 2;
    }
    try {
        Run(fs::absolute(arguments[1]));
    } catch (std::exception const& failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        return 1;
    }
    return 0;
}
