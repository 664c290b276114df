#pragma once

// Kind of terminal behind a mail address. The values index the per-terminal texts and attachment folders of a
// mail.
enum TermType : int {
    pc = 0,  // any address that no carrier's rule matches
    nd = 1,  // DoCoMo
    at = 2,  // EZweb, IDO, DION, TU-KA
    sb = 3,  // SoftBank, Vodafone
    wl = 4,  // PDX
};
