#pragma once

#include <memory>

#include "tessaly/platform/containers.h"
#include "tessaly/protocol/pops.h"

namespace delivery {
class ConversationWatch;
}

// The POP3 client over TLS: the component holds the conversation, and is configured and called through its
// own interface (protocol/pops.h, Handle()); this class keeps the transfer log and the list of unique IDs,
// records the step that the conversation reached, and gives its failure in Japanese. Not copied; one object
// serves one thread, which also runs the events.
class TESSALY_API CMyPOPS : public POPS {
  public:
    // The step that the conversation reached. It stays at the step of the first failure.
    enum Status : int {
        status_none = 0,
        status_connecting = -1,
        status_connected = -2,
        status_user = -3,
        status_password = -4,
        status_count = -5,
        status_fetching = -6,
        status_unique_ids = -7,
        status_quit = -8,
        status_disconnected = -9,
    };

    CMyPOPS();
    ~CMyPOPS() override;

    // Prepares the object for one conversation: a time limit of 60 seconds, port 110, no security, everything
    // else empty. The component's connection stays as it is. Result: that of the component's last setting.
    int Init();
    void SetLogTitle(CString title);
    void WriteLog();
    // Requests the unique ID of each message in turn and appends it to the list. 0, or the component's error
    // at the first message without one; the IDs before it are in the list. The component's own listing
    // (pops_list) fills the same list in one round trip.
    int ListMessageUIDs();
    CStringArray const& GetUIDs() const { return unique_ids_; }
    int GetNowStatus() const;
    // The text of the component's last error event.
    CString GetErrorMessage() const;
    // The sentence for the component's last failure; its own text where there is none.
    CString GetLastErrorInJapanese();
    // The same failure as data: the step in which the last call failed, and the reply that refused it.
    protocol::PopFailure const& GetFailure() const { return POPS_GetPopFailure(m_hHandle); }

    int FireConnectionStatus(POPSConnectionStatusEventParams* parameters) override;
    int FireError(POPSErrorEventParams* parameters) override;
    int FireMessageList(POPSMessageListEventParams* parameters) override;
    int FirePITrail(POPSPITrailEventParams* parameters) override;
    int FireSSLStatus(POPSSSLStatusEventParams* parameters) override;

  private:
    CStringArray unique_ids_;
    std::unique_ptr<delivery::ConversationWatch> watch_;
};
