#include "cli/shown.h"

#include <iostream>

#include "cli/progress.h"
#include "engine/base/crossing.h"
#include "engine/base/whole_number.h"

namespace cli {

using namespace engine;

void TellChosen(Session& session, int recipients, std::ostream& out) {
    auto const grouped = [](int number) { return Grouped(static_cast<std::uint64_t>(number)); };
    out << "宛先は " << grouped(recipients) << "件です (顧客 "
        << grouped(session.Customers().GetDBCountWithoutDelete()) << "件のうち)。\n";
    if (recipients == 0) std::cerr << "条件に合って、DMを受け取る顧客はいません。\n";
}

void ShowFailure(Delivery const& delivery) {
    if (delivery.outcome == Outcome::sent) return;
    Say(std::string(NameOf(delivery.outcome)) + " " + std::to_string(delivery.id) + " <" +
        Out(delivery.address) + ">: " + delivery.reply);
}

}  // namespace cli
