#include "tessaly/information/my_https.h"

CMyHTTPS::CMyHTTPS() { m_hHandle = HTTPS_Create(Dispatch, static_cast<HTTPS*>(this)); }

CMyHTTPS::~CMyHTTPS() { HTTPS_Destroy(m_hHandle); }

int CMyHTTPS::FireHeader(HTTPSHeaderEventParams* parameters) {
    CString const field = parameters->field;
    if (field == "Last-Modified") last_modified_ = parameters->value;
    return 0;
}
