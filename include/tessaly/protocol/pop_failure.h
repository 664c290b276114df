#pragma once

#include "tessaly/platform/cstring.h"

namespace protocol {

// The steps of a POP3 conversation (RFC 1939), in their order.
enum class PopPhase {
    none,  // no server was contacted
    connect,
    greeting,
    capabilities,  // CAPA
    upgrade,       // STLS
    login,
    totals,      // STAT
    sizes,       // LIST
    unique_ids,  // UIDL
    message,     // RETR, TOP
    deletion,    // DELE
    idle,        // NOOP
    reset,       // RSET
    quit,
};

// Why a conversation failed: the step, and the reply that refused it.
struct PopFailure {
    PopPhase phase = PopPhase::none;
    bool refused = false;  // false: there was no reply, or it was positive and something else failed
    CString code;          // response code of that reply (RFC 2449 8), such as "IN-USE"; empty for none
    CString text;          // of that reply, without its line end

    bool IsRefusalAt(PopPhase step) const { return refused && phase == step; }
};

}  // namespace protocol
