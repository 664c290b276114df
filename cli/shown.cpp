#include "cli/shown.h"

#include <iostream>

#include "engine/base/whole_number.h"

namespace cli {

using namespace engine;

void TellChosen(Session& session, int recipients, std::ostream& out) {
    auto const grouped = [](int number) { return Grouped(static_cast<std::uint64_t>(number)); };
    out << "宛先は " << grouped(recipients) << "件です (顧客 "
        << grouped(session.Customers().GetDBCountWithoutDelete()) << "件のうち)。\n";
    if (recipients == 0) std::cerr << "条件に合って、DMを受け取る顧客はいません。\n";
}

}  // namespace cli
