#include "cli/shown.h"

#include <iostream>

#include "engine/base/whole_number.h"

namespace cli {

using namespace engine;

void TellChoice(Choice const& choice, std::ostream& out) {
    out << "宛先は " << Grouped(choice.recipients) << "件です (顧客 " << Grouped(choice.customers)
        << "件のうち)。\n";
    if (choice.recipients == 0) std::cerr << "条件に合って、DMを受け取る顧客はいません。\n";
}

}  // namespace cli
