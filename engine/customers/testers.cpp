#include "engine/customers/testers.h"

#include <algorithm>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/whole_number.h"
#include "engine/customers/checked_customer.h"
#include "engine/customers/elements.h"
#include "engine/environment/data_paths.h"
#include "tessaly/delivery.h"

namespace engine {
namespace {

constexpr char const* testers_name = "テスト送信の相手";

// Binds `testers` and reads them.
void Load(Session& session, CTestMailingInfo& testers) {
    TableReading reading(session, testers_file);
    reading.End(testers.SetEnvManager(&session.Environment()) != 0, testers);
}

void Save(Session& session, CTestMailingInfo& testers) {
    session.SaveTable(testers_file, testers_name, [&](CString const& path, char const* key) {
        return testers.WriteFromMemoryToFileAppointFileName(path, key) == CTestMailingInfo::ok;
    });
}

int KeyAt(CTestMailingInfo const& testers, int line) {
    return WholeNumber(testers.GetAtElement(line, customers::element_id).View()).value_or(0);
}

int LineOf(CTestMailingInfo const& testers, int key) {
    for (int line = 0; line < testers.GetLineNumber(); ++line)
        if (KeyAt(testers, line) == key) return line;
    throw Failure(Failure::tester_not_found, "その番号のテスト送信の相手はいません: " + std::to_string(key));
}

}  // namespace

std::vector<OneCustomer> Testers(Session& session) {
    CTestMailingInfo table;
    Load(session, table);
    std::vector<OneCustomer> testers(static_cast<std::size_t>(table.GetLineNumber()));
    for (int line = 0; line < table.GetLineNumber(); ++line)
        table.GetTestMailingInfo(testers[static_cast<std::size_t>(line)], KeyAt(table, line));
    std::sort(testers.begin(), testers.end(),
              [](OneCustomer const& a, OneCustomer const& b) { return a.CustomerID < b.CustomerID; });
    return testers;
}

TesterTable ListTesters(Session& session, std::string_view columns) {
    Elements const elements(session);
    std::vector<int> const numbers = elements.NamedList(columns);
    TesterTable table;
    for (int const column : numbers) table.titles.push_back(elements.At(column).title);
    CTestMailingInfo testers;
    Load(session, testers);
    for (int line = 0; line < testers.GetLineNumber(); ++line) {
        std::vector<std::string>& cells = table.rows.emplace_back();
        for (int const column : numbers) cells.push_back(Out(testers.GetAtElement(line, column)));
    }
    return table;
}

NewTester AddTester(Session& session, std::vector<std::string> const& values) {
    Elements const elements(session);
    CTestMailingInfo testers;
    Load(session, testers);
    int key = 0;
    for (int line = 0; line < testers.GetLineNumber(); ++line) key = std::max(key, KeyAt(testers, line) + 1);
    OneCustomer tester;
    testers.InitOneCustomer(tester, key);
    TakeValues(elements, values, tester);
    RequireAddress(tester);
    if (testers.SetTestMailingInfo(tester, key) < 0)
        throw Failure(Failure::operation_failed, "登録できません: " + TextOf(testers.GetErrMsg()));
    Save(session, testers);
    return {key, Out(tester.Email)};
}

void DeleteTesters(Session& session, std::vector<int> const& keys) {
    CTestMailingInfo testers;
    Load(session, testers);
    for (int const key : keys) testers.RemoveLine(LineOf(testers, key));
    Save(session, testers);
}

}  // namespace engine
