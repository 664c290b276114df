#include "engine/customers/refusal_list.h"

#include <algorithm>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/trimmed.h"
#include "engine/base/whole_number.h"
#include "engine/consent/mail_stops.h"
#include "engine/customers/csv_import.h"
#include "engine/customers/csv_input.h"
#include "engine/customers/kept_refusals.h"
#include "tessaly/text.h"

namespace engine {
namespace {

constexpr std::size_t most_told = 50;

bool IsAddress(std::string const& text) { return MailAddressChecker(text.c_str()) == 1; }

void RequireAddresses(std::vector<std::string> const& addresses) {
    for (std::string const& address : addresses)
        if (!IsAddress(address))
            throw Failure(Failure::invalid_address, "メールアドレスの形が正しくありません: " + address);
}

[[noreturn]] void NotOnList(std::string const& address) {
    throw Failure(Failure::invalid_value, "この宛先は一覧にありません: " + address);
}

void Save(Session& session, KeptRefusals& refusals) {
    if (refusals.Settle()) session.SaveCustomers();
}

void GiveYes(Session& session, std::string const& address) {
    CDatabaseEdit& customers = session.Customers();
    for (int const id : CustomersAt(customers, address)) {
        OneCustomer customer;
        if (customers.GetOneCustomerForEdit(customer, id) < 0) continue;
        customer.DMOk = "Y";
        if (customers.SetOneCustomerInfo(customer, CDatabaseEdit::store_in_memory) < 0)
            throw Failure(Failure::operation_failed,
                          "顧客を書き込めません: " + TextOf(customers.GetErrMsg()));
    }
}

// The addresses of a file. What is none is told.
std::vector<std::string> AddressesIn(Session& session, std::string const& file) {
    CsvImport options;
    options.file = file;
    Elements const elements(session);
    CsvInput input(options, elements);
    CsvColumns columns = input.ReadColumns();
    auto const column = static_cast<std::size_t>(columns.Assignment()[customers::element_address]);
    std::vector<std::string> addresses;
    std::size_t refused = 0;
    CsvSource::Record record;
    std::vector<storage::SplitField> fields;
    while (input.Source().Next(record)) {
        std::string const line = input.Source().ForLibrary(record).text;
        storage::SplitFields(line, std::string(1, input.Delimiter()), input.Quote(), fields);
        CString const cell =
            column < fields.size() ? storage::FieldText(fields[column], input.Quote()) : CString();
        std::string const address(Trimmed(cell.View()));
        if (IsAddress(address))
            addresses.push_back(address);
        else if (++refused <= most_told)
            session.Front().Notice(std::to_string(record.line) +
                                   "行: メールアドレスの形が正しくありません: " + OnOneLine(Out(address)));
    }
    if (refused > most_told) session.Front().Notice("… ほか " + Grouped(refused - most_told) + "行");
    if (addresses.empty())
        throw Failure(Failure::nothing_imported, "メールアドレスの行がありません: " + file);
    return addresses;
}

}  // namespace

std::size_t AddRefusals(Session& session, std::vector<std::string> const& addresses, RefusedBy by,
                        std::string const& note) {
    RequireAddresses(addresses);
    KeptRefusals refusals(session, session.Customers(), {});
    std::size_t added = 0;
    for (std::string const& address : addresses)
        added += refusals.List().Add({address, by, -1, OnOneLine(note), {}}) ? 1 : 0;
    Save(session, refusals);
    return added;
}

void LiftRefusals(Session& session, std::vector<std::string> const& addresses, std::string const& consent) {
    KeptRefusals refusals(session, session.Customers(), {});
    for (std::string const& address : addresses) {
        if (!refusals.List().Contains(AddressKey(address))) NotOnList(address);
        refusals.List().Lift(address, consent);
        GiveYes(session, address);
    }
    refusals.Settle();
    session.SaveCustomers();
}

std::size_t ImportRefusals(Session& session, std::string const& file) {
    return AddRefusals(session, AddressesIn(session, file), RefusedBy::import, file);
}

std::size_t AddSuspensions(Session& session, std::vector<std::string> const& addresses,
                           std::string const& note) {
    RequireAddresses(addresses);
    Suspensions suspensions(session);
    std::size_t added = 0;
    for (std::string const& address : addresses)
        added += suspensions.Add({address, Suspension::By::user, -1, OnOneLine(note), {}}) ? 1 : 0;
    suspensions.Save();
    return added;
}

void LiftSuspensions(Session& session, std::vector<std::string> const& addresses) {
    Suspensions suspensions(session);
    for (std::string const& address : addresses)
        if (!suspensions.Lift(address)) NotOnList(address);
    suspensions.Save();
}

}  // namespace engine
