// The imports from other programs.
#include <utility>

#include "customers/database_lock.h"
#include "import/address_books.h"
#include "import/shop_exports.h"
#include "tessaly/customers/database_edit.h"

using namespace customers;

void CDatabaseEdit::SetForeignImportOptions(ForeignImportOptions options) {
    DatabaseLock const lock;
    foreign_options_ = std::move(options);
}

int CDatabaseEdit::ImportDBfromFWAFile(CString fwaPath, CString converter, CString logPath, int* imported,
                                       int* errors, int* state, CString* message, int dmMode) {
    DatabaseLock const lock;
    ForeignCall const call{fwaPath, logPath, imported, errors, state, message, foreign_options_};
    return FwaImport(*this, env_, option_, call, converter, dmMode).Run();
}

int CDatabaseEdit::ImportDBfromBeckyFile(CString path, CString logPath, int* imported, int* errors,
                                         int* state, CString* message, int dmMode) {
    DatabaseLock const lock;
    ForeignCall const call{path, logPath, imported, errors, state, message, foreign_options_};
    return BeckyImport(*this, env_, option_, call, dmMode).Run();
}

int CDatabaseEdit::ImportDBfromOutLookFile(CString path, CString logPath, int* imported, int* errors,
                                           int* state, CString* message, int dmMode) {
    DatabaseLock const lock;
    ForeignCall const call{path, logPath, imported, errors, state, message, foreign_options_};
    return OutLookImport(*this, env_, option_, call, dmMode).Run();
}

int CDatabaseEdit::ImportDBfromCorvaneFile(CString path, CString logPath, int* imported, int* errors,
                                           int* state, CString* message, CString duplicate, HWND) {
    DatabaseLock const lock;
    ForeignCall const call{path, logPath, imported, errors, state, message, foreign_options_};
    return CorvaneImport(*this, env_, option_, call, duplicate).Run();
}

int CDatabaseEdit::ImportDBfromBelmoraFile(CString path, CString logPath, int* imported, int* errors,
                                           int* state, CString* message, CString duplicate,
                                           int rewriteAttributes) {
    DatabaseLock const lock;
    ForeignCall const call{path, logPath, imported, errors, state, message, foreign_options_};
    return BelmoraImport(*this, env_, option_, call, duplicate, rewriteAttributes != 0).Run();
}
