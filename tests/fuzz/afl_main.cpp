// Runs a target under afl-fuzz: in one process many thousand times, the bytes in shared memory. GCC itself
// marks the edges (-fsanitize-coverage=trace-pc) and this file counts them, so that nothing depends on
// AFL++'s compiler plugin, which loads only into the very build of GCC that it was made with. This file is
// compiled without the marks.

#include <cstdint>

#include "fuzz_target.h"

// The runtime of AFL++ (afl-compiler-rt.o).
extern "C" {
extern unsigned char* __afl_area_ptr;
extern unsigned char* __afl_fuzz_ptr;
extern unsigned int* __afl_fuzz_len;
extern int __afl_sharedmem_fuzzing;
int __afl_sharedmem_fuzzing = 1;
int __afl_persistent_loop(unsigned int turns);
void __afl_manual_init();
extern char const __executable_start;
void __sanitizer_cov_trace_pc();
}

namespace {

constexpr unsigned turns_of_a_process = 10000;
constexpr unsigned map_bits = 16;  // the map of a program that tells afl-fuzz no size
std::uintptr_t previous_place = 0;

// afl-fuzz looks for these in the file.
[[gnu::used]] char const* const signatures[] = {"##SIG_AFL_PERSISTENT##", "##SIG_AFL_DEFER_FORKSRV##"};

}  // namespace

// Called on every edge.
void __sanitizer_cov_trace_pc() {
    auto const address = reinterpret_cast<std::uintptr_t>(__builtin_return_address(0)) -
                         reinterpret_cast<std::uintptr_t>(&__executable_start);
    std::uintptr_t const place = address * 0x9E3779B97F4A7C15U >> (64 - map_bits);
    unsigned char& count = __afl_area_ptr[place ^ previous_place];
    // A count that wraps round must not read as an edge never taken.
    count = static_cast<unsigned char>(count + (count == 0xFF ? 2 : 1));
    previous_place = place >> 1;
}

int main() {
    __afl_manual_init();
    while (__afl_persistent_loop(turns_of_a_process)) {
        previous_place = 0;
        // A copy of exact size: behind the end of the shared block the sanitizer sees nothing.
        std::unique_ptr<char[]> const bytes(new char[*__afl_fuzz_len]);
        std::memcpy(bytes.get(), __afl_fuzz_ptr, *__afl_fuzz_len);
        FuzzOne({bytes.get(), *__afl_fuzz_len});
    }
}
