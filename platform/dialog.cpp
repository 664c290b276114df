#include "tessaly/platform/dialog.h"

#include <cstdio>
#include <mutex>
#include <string>

#include "tessaly/platform/codepage932.h"
#include "tessaly/platform/mbcs.h"

namespace {

template <class Function>
struct Installed {
    Function handler = nullptr;
    void* context = nullptr;
};

std::mutex handlers_lock;
Installed<MessageBoxHandler> message_box;
Installed<FileDialogHandler> file_dialog;

template <class Function>
void Install(Installed<Function>& place, Function handler, void* context) {
    std::lock_guard guard(handlers_lock);
    place = {handler, context};
}

template <class Function>
Installed<Function> InstalledIn(Installed<Function> const& place) {
    std::lock_guard guard(handlers_lock);
    return place;
}

int DefaultButton(unsigned type) {
    constexpr unsigned buttons_mask = 0x000F;
    static constexpr struct {
        unsigned type;
        int buttons[3];
    } boxes[] = {
        {MB_OK, {IDOK, IDOK, IDOK}},
        {MB_OKCANCEL, {IDOK, IDCANCEL, IDOK}},
        {MB_YESNOCANCEL, {IDYES, IDNO, IDCANCEL}},
        {MB_YESNO, {IDYES, IDNO, IDYES}},
    };
    int const chosen = type & MB_DEFBUTTON2 ? 1 : type & MB_DEFBUTTON3 ? 2 : 0;
    for (auto const& box : boxes)
        if (box.type == (type & buttons_mask)) return box.buttons[chosen];
    return IDOK;
}

// A text may quote a server or a file: control characters must not reach the terminal.
void Print(char const* title, char const* text) {
    std::string lines = platform::Utf8FromCp932(title ? title : "");
    if (!lines.empty()) lines += ": ";
    lines += platform::Utf8FromCp932(text ? text : "");
    std::erase(lines, '\r');
    for (char& c : lines)
        if ((static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\t') || c == 0x7F) c = ' ';
    lines += '\n';
    std::fwrite(lines.data(), 1, lines.size(), stderr);
}

bool HasExtension(CString const& path) {
    CString extension;
    platform::splitpath(path, nullptr, nullptr, nullptr, &extension);
    return !extension.IsEmpty();
}

}  // namespace

void SetMessageBoxHandler(MessageBoxHandler handler, void* context) {
    Install(message_box, handler, context);
}

void SetFileDialogHandler(FileDialogHandler handler, void* context) {
    Install(file_dialog, handler, context);
}

int AfxMessageBox(char const* text, unsigned type) { return ShowMessageBox(text, nullptr, type); }

int ShowMessageBox(char const* text, char const* title, unsigned type) {
    auto const installed = InstalledIn(message_box);
    if (installed.handler) return installed.handler(installed.context, text ? text : "", title, type);
    Print(title, text);
    return DefaultButton(type);
}

CFileDialog::CFileDialog(bool open, char const* default_extension, char const* default_name, unsigned flags,
                         char const* filter)
    : open_(open),
      default_extension_(default_extension),
      default_name_(default_name),
      filter_(filter),
      flags_(flags) {}

int CFileDialog::DoModal() {
    auto const installed = InstalledIn(file_dialog);
    CString path;
    if (!installed.handler ||
        !installed.handler(installed.context, {open_, default_name_, filter_, flags_}, path))
        return IDCANCEL;
    path_ = path;
    if (!open_ && !default_extension_.IsEmpty() && !HasExtension(path_)) path_ += "." + default_extension_;
    return IDOK;
}

void AfxThrowUserException() { throw CUserException(); }
