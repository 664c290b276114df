#pragma once

#include <ostream>

#include "engine/environment/session.h"
#include "engine/sending/mailing.h"

// What several commands show.
namespace cli {

// How many of the customers were chosen, and a warning when nobody was.
void TellChosen(engine::Session& session, int recipients, std::ostream& out);
// A mail that did not go out, above the progress.
void ShowFailure(engine::Delivery const& delivery);

}  // namespace cli
