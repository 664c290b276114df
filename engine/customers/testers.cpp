#include "engine/customers/testers.h"

#include <algorithm>
#include <cstdlib>

#include "engine/base/failure.h"

namespace engine {

void LoadTesters(Session& session, CTestMailingInfo& testers) {
    const std::string path = session.DataDirectory() + "/" + testers_file;
    if (!testers.SetEnvManager(&session.Environment())) Damaged("テスト送信の相手", path);
    RequireWhole(testers, "テスト送信の相手", path);
}

std::vector<OneCustomer> Testers(Session& session) {
    CTestMailingInfo table;
    LoadTesters(session, table);
    std::vector<OneCustomer> testers(static_cast<std::size_t>(table.GetLineNumber()));
    for (int line = 0; line < table.GetLineNumber(); ++line)
        table.GetTestMailingInfo(testers[static_cast<std::size_t>(line)],
                                 std::atoi(table.GetAtElement(line, customers::element_id)));
    std::sort(testers.begin(), testers.end(),
              [](OneCustomer const& a, OneCustomer const& b) { return a.CustomerID < b.CustomerID; });
    return testers;
}

}  // namespace engine
