#pragma once

#include <ostream>

#include "engine/targets/target.h"

// What several commands show.
namespace cli {

// How many of the customers were chosen, and a warning for none.
void TellChoice(engine::Choice const& choice, std::ostream& out);

}  // namespace cli
