#pragma once

#include "tessaly/mailstore/term_type.h"
#include "tessaly/platform/export.h"

// Chooses by the recipient's address which of a mail's texts a customer gets. Static operations only, without
// state, for any number of threads.
class TESSALY_API CXEmail {
  public:
    virtual ~CXEmail() = default;

    // The terminal type of `address`, by the end of the address and without regard to case. Null counts as
    // empty.
    static TermType GetTermTypeFromMailAddr(char const* address);

    // Compares the end of `text` with `tail`, byte by byte. 0: `text` ends in `tail`. -1: `text` is shorter
    // than `tail`, or its first differing byte is the smaller one. 1: it is the greater one. Null counts as
    // empty.
    static int strrcmp(char const* text, char const* tail);
};
