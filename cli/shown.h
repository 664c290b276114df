#pragma once

#include <ostream>

#include "engine/environment/session.h"

// What several commands show.
namespace cli {

// How many of the customers were chosen, and a warning when nobody was.
void TellChosen(engine::Session& session, int recipients, std::ostream& out);

}  // namespace cli
