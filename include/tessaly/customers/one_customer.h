#pragma once

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/ole_date_time.h"

// One customer in memory, to be edited, merged into a mail and sent to. A plain value with memberwise copy;
// nothing in it is checked. The spare columns of the customer row have no member.
//
// A new object has every text empty and both dates zero; CDatabaseEdit::GetOneCustomerForNew gives the
// defaults of a new customer ("Y" in DMOk and OtherOk, the present time in both dates).
//
// All texts are bytes in code page 932. Dates are local time.
struct OneCustomer {
    static constexpr int no_id = -1;  // a customer who is not yet in the database

    int CustomerID = no_id;
    CString Email;
    CString KanjiSei;
    CString KanjiMei;
    CString KanaSei;
    CString KanaMei;
    CString Company;
    CString CompanyPost;
    CString Birthday;
    CString ZipCode1;
    CString ZipCode2;
    CString Prefecture;
    CString Address1;
    CString Address2;
    CString Building;
    CString Phone1;
    CString Phone2;
    CString Fax1;
    CString Fax2;
    CString Portable1;
    CString Portable2;
    CString DMOk;
    CString OtherOk;
    CString ExtraA;
    CString ExtraB;
    CString ExtraC;
    CString ExtraD;
    CString ExtraE;
    CString ExtraF;
    CString ExtraG;
    CString ExtraH;
    CString ExtraI;
    CString ExtraJ;
    CString ExtraK;
    CString ExtraL;
    CString ExtraM;
    CString ExtraN;
    CString ExtraO;
    CString ExtraP;
    CString ExtraQ;
    CString ExtraR;
    CString ExtraS;
    CString ExtraT;
    CString DeleteFlag;
    COleDateTime EntryDate;
    COleDateTime RenewalDate;
};
