#include "tessaly/storage/err_msg.h"

#include <cstdarg>

using enum storage::ErrorCode;

CErrMsg::CErrMsg() { init(); }

CErrMsg::CErrMsg(int code) {
    init();
    SetErr(code);
}

CErrMsg& CErrMsg::Copy(CErrMsg& to, CErrMsg const& from) { return to = from; }

void CErrMsg::init() {
    code_ = error_none;
    text_.Empty();
    SetErr(error_none);
}

int CErrMsg::Clear() {
    init();
    return 1;
}

int CErrMsg::SetErr(int code, ...) {
    code_ = code;
    CString format;
    int const found = GetErrMsgFromDefined(code, format);
    if (!found) {
        text_ = format;
        return 0;
    }
    va_list arguments;
    va_start(arguments, code);
    text_.FormatV(format, arguments);
    va_end(arguments);
    return 1;
}

int CErrMsg::SetErrS(int code, char const* format, ...) {
    code_ = code;
    va_list arguments;
    va_start(arguments, format);
    text_.FormatV(format ? format : "", arguments);
    va_end(arguments);
    return 1;
}

int CErrMsg::GetErrMsgFromDefined(int code, CString& text) {
    auto const look_up = [&text](int wanted) {
        for (ERRCODE_ERRMSG_STRUCT const& row : itsErrCodeMsgArray) {
            if (row.code != wanted) continue;
            text = row.message;
            return 1;
        }
        return 0;
    };
    if (look_up(code)) return 1;
    look_up(error_unknown_code);
    return 0;
}
