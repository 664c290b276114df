#include "mime/mail_data_structure.h"

#include <climits>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

#include "mime/quoted_printable.h"

CString CMailDataStructure::QuotedPrintableEncorder(CString s) {
    const std::size_t room = mime::QuotedPrintableRoom(s.View());
    if (room > INT_MAX) throw std::bad_alloc();
    CString encoded;
    char* const out = encoded.GetBuffer(static_cast<int>(room));
    encoded.ReleaseBuffer(static_cast<int>(mime::EncodeQuotedPrintable(s.View(), out)));
    return encoded;
}

CString CMailDataStructure::QuotedPrintableDecoder(char const* s) {
    if (!s) return {};
    const std::size_t length = std::strlen(s);
    auto const decoded = std::make_unique_for_overwrite<char[]>(length);
    mime::QuotedText text{s, s + length, decoded.get()};
    for (mime::DecodeQuotedRun(text); text.end - text.in > 2; mime::DecodeQuotedRun(text)) {
        if (std::memcmp(text.in, "=\r\n", 3) == 0)
            text.in += 3;
        else
            *text.out++ = *text.in++;
    }
    return CString(std::string_view(decoded.get(), static_cast<std::size_t>(text.out - decoded.get())));
}
