#pragma once

#include <array>
#include <cstdint>

// The tables behind platform/codepage932.h.
namespace platform {

struct Codepage932Tables {
    Codepage932Tables() noexcept;
    std::array<std::uint16_t, 0x10000> unicode_of{};
    std::array<std::uint16_t, 0x10000> code_of{};
};

// Made by the first call and only read after it.
Codepage932Tables const& Codepage932() noexcept;

// Fills both tables beyond ASCII by the system's conversion. Where the system has none they stay as they are.
void FillCodepage932(Codepage932Tables& tables) noexcept;

}  // namespace platform
