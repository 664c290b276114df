#pragma once

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/https.h"

// A request for a page of which only the date of its last change is used. Not copied; the events run in the
// thread of the request.
class TESSALY_API CMyHTTPS : public HTTPS {
  public:
    CMyHTTPS();
    ~CMyHTTPS() override;

    // The value of the last header "Last-Modified" (RFC 9110 8.8.2), in exactly this spelling.
    CString GetLastModified() const { return last_modified_; }

    int FireHeader(HTTPSHeaderEventParams* parameters) override;

  private:
    CString last_modified_;
};
