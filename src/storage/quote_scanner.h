#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace storage {

// Gives the places of the double quotes of [start, limit) one after the other. It looks at 64 bytes together:
// that many behind the limit must be readable, with any content.
class QuoteScanner {
  public:
    static constexpr std::size_t step = 64;

    QuoteScanner(char const* start, char const* limit) noexcept : at_(start), limit_(limit) {
        if (start < limit) quotes_ = QuotesAt(start);
    }
    // A place at or behind `limit` when there is none left.
    char const* Next() noexcept {
        while (quotes_ == 0) {
            if (at_ >= limit_ || (at_ += step) >= limit_) return limit_;
            quotes_ = QuotesAt(at_);
        }
        char const* const quote = at_ + std::countr_zero(quotes_);
        quotes_ &= quotes_ - 1;
        return quote;
    }

  private:
    // Bit n is set when the byte at[n] is a quote.
    static std::uint64_t QuotesAt(char const* at) noexcept {
        std::uint64_t bits = 0;
#ifdef __SSE2__
        __m128i const quote = _mm_set1_epi8('"');
        for (int part = 0; part < 4; ++part) {
            __m128i const bytes = _mm_loadu_si128(reinterpret_cast<__m128i const*>(at) + part);
            auto const found = static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, quote)));
            bits |= std::uint64_t{found} << (16 * part);
        }
#else
        for (std::size_t n = 0; n < step; ++n) bits |= std::uint64_t{at[n] == '"'} << n;
#endif
        return bits;
    }

    char const* at_;
    char const* limit_;
    std::uint64_t quotes_ = 0;  // quotes of the 64 bytes at at_ that were not returned yet
};

}  // namespace storage
