#pragma once

#include <CLI/CLI.hpp>

namespace app {

// `customers import`.
void AddImportCommand(CLI::App& family);

}  // namespace app
