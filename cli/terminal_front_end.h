#pragma once

#include "engine/base/front_end.h"

namespace cli {

// The terminal: notices and progress on standard error, results on standard output, questions where standard
// input is a terminal, and Ctrl-C to stop.
engine::FrontEnd& Terminal();

}  // namespace cli
