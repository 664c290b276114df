#pragma once

#include <CLI/CLI.hpp>

namespace cli {

// `customers import`.
void AddImportCommand(CLI::App& family);

}  // namespace cli
