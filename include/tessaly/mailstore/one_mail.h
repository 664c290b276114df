#pragma once

#include "tessaly/platform/containers.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/ole_date_time.h"

// One attachment of a mail, as in its attachment list.
struct AttachData {
    CString m_strFileName;  // without a path
    CString m_strFileInfo;  // the application's own text, stored and returned unchanged
};

// A whole mail in memory. Texts are per terminal slot: 0 to 4 are the terminals of TermType, 5 and 6 have no
// terminal.
struct OneMail {
    static constexpr int slot_count = 7;

    CString m_strAddressName;  // addressee name
    COleDateTime m_dtReserve;
    CString m_strSubject[slot_count];
    CString m_strBody[slot_count];
    CArray<AttachData, AttachData> m_aAttach[slot_count];  // a mail of format 4 uses the first only
    CString m_strHonorific;
};
