#pragma once

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

// Messages and questions of the library to the user. The application installs a handler; without one the text
// goes to standard error as UTF-8 and the default button is the answer, so nothing ever blocks.

// The window that a question belongs to; there are none here.
using HWND = void*;

inline constexpr unsigned MB_OK = 0x0000;
inline constexpr unsigned MB_OKCANCEL = 0x0001;
inline constexpr unsigned MB_YESNOCANCEL = 0x0003;
inline constexpr unsigned MB_YESNO = 0x0004;
inline constexpr unsigned MB_ICONSTOP = 0x0010;
inline constexpr unsigned MB_ICONQUESTION = 0x0020;
inline constexpr unsigned MB_ICONEXCLAMATION = 0x0030;
inline constexpr unsigned MB_ICONINFORMATION = 0x0040;
inline constexpr unsigned MB_DEFBUTTON2 = 0x0100;
inline constexpr unsigned MB_DEFBUTTON3 = 0x0200;
inline constexpr int IDOK = 1;
inline constexpr int IDCANCEL = 2;
inline constexpr int IDYES = 6;
inline constexpr int IDNO = 7;

// Texts in code page 932. Result: the button. `title` may be null.
using MessageBoxHandler = int (*)(void* context, char const* text, char const* title, unsigned type);
// A file to open, or to save under. `default_name` and `filter` may be null.
struct FileQuestion {
    bool open;
    char const* default_name;
    char const* filter;
    unsigned flags;  // for the handler
};
inline constexpr unsigned OFN_OVERWRITEPROMPT = 0x0002;
inline constexpr unsigned OFN_HIDEREADONLY = 0x0004;
inline constexpr unsigned OFN_FILEMUSTEXIST = 0x1000;
// Result: true with `path` (library form) when a file was chosen.
using FileDialogHandler = bool (*)(void* context, FileQuestion const& question, CString& path);
TESSALY_API void SetMessageBoxHandler(MessageBoxHandler handler, void* context);
TESSALY_API void SetFileDialogHandler(FileDialogHandler handler, void* context);

TESSALY_API int AfxMessageBox(char const* text, unsigned type = MB_OK);
// With a title and no owner window.
TESSALY_API int ShowMessageBox(char const* text, char const* title, unsigned type);

class TESSALY_API CFileDialog {
  public:
    // `default_extension` (without its dot; may be null) is added to a name without one when a file is saved.
    // `flags` go to the handler.
    CFileDialog(bool open, char const* default_extension, char const* default_name, unsigned flags,
                char const* filter);
    // IDOK when a file was chosen; without a handler IDCANCEL.
    int DoModal();
    CString GetPathName() const { return path_; }

  private:
    bool open_;
    CString default_extension_;
    CString default_name_;
    CString filter_;
    unsigned flags_;
    CString path_;
};

// Raised by constructors that cannot bind or read their arguments, after a message to the user.
class TESSALY_API CUserException {};
[[noreturn]] TESSALY_API void AfxThrowUserException();
