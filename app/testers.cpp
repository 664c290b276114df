#include "testers.h"

#include <algorithm>
#include <cstdlib>

#include "failure.h"

namespace app {

void LoadTesters(Session& session, CTestMailingInfo& testers) {
    if (!testers.SetEnvManager(&session.Environment()))
        throw Failure("テスト送信の相手を読めません: " + session.DataDirectory() + "/" + testers_file);
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

}  // namespace app
