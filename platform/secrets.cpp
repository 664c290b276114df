#include "platform/secrets.h"

namespace platform {

void WipeBytes(void* place, std::size_t size) noexcept {
    auto* const bytes = static_cast<volatile unsigned char*>(place);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = 0;
}

void Wipe(CString& secret) {
    int const length = secret.GetLength();
    WipeBytes(secret.GetBuffer(length), static_cast<std::size_t>(length));
    secret.ReleaseBuffer(0);
    secret.Empty();
}

void Wipe(std::string& secret) {
    WipeBytes(secret.data(), secret.size());
    secret.clear();
}

}  // namespace platform
