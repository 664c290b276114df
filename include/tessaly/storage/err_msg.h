#pragma once

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"
#include "tessaly/storage/error_codes.h"

// One row of the message table.
struct ERRCODE_ERRMSG_STRUCT {
    int code;
    char const* message;  // printf-style, code page 932
};

// The last failure of an object, as code and finished text for the user. A class that reports to the user
// holds one by value and returns it by its GetErrMsg(). It is never empty: a new or cleared one holds
// error_none and "正常".
//
// Threads: the object belongs to the thread that uses its owner; the message table may be read from any
// thread.
class TESSALY_API CErrMsg {
  public:
    CErrMsg();
    // For a code whose text has no placeholder.
    CErrMsg(int code);
    CErrMsg(CErrMsg const&) = default;
    CErrMsg& operator=(CErrMsg const&) = default;
    virtual ~CErrMsg() = default;
    // Copies code and finished text. Result: `to`.
    static CErrMsg& Copy(CErrMsg& to, CErrMsg const& from);

    // Back to error_none. Result: 1.
    int Clear();
    // Keeps `code` and the table's text for it, its placeholders filled from the further arguments: exactly
    // as many char const* as the text has "%s". Result: 1; 0 for a code that the table lacks, which is kept
    // all the same, with the text of error_unknown_code.
    int SetErr(int code, ...);
    // Keeps `code` with a text of the caller's own, whatever the table holds. A null format gives an empty
    // text. Result: 1.
    int SetErrS(int code, char const* format, ...) __attribute__((format(printf, 3, 4)));
    // The table's raw text with its placeholders. Result: 1; 0 with the text of error_unknown_code.
    static int GetErrMsgFromDefined(int code, CString& text);

    int GetLastCode() const { return code_; }
    // Valid until the object is next changed.
    char const* GetLastMsg() const { return text_; }

  private:
    static constexpr int slots = 400;
    static constexpr int end_of_messages = -1;
    static ERRCODE_ERRMSG_STRUCT const itsErrCodeMsgArray[slots];

    void init();

    int code_ = storage::error_none;
    CString text_;
};
