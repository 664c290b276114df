#include "storage/construction_failure.h"

#include "tessaly/platform/dialog.h"
#include "tessaly/storage/err_msg.h"

namespace storage {

void FailConstruction(CErrMsg const& error) {
    AfxMessageBox(error.GetLastMsg());
    AfxThrowUserException();
}

void FailConstruction(CErrMsg const& error, char const* title) {
    ShowMessageBox(error.GetLastMsg(), title, MB_OK | MB_ICONSTOP);
    AfxThrowUserException();
}

void FailConstruction(CErrMsg& error, int code) {
    error.SetErr(code);
    FailConstruction(error);
}

}  // namespace storage
