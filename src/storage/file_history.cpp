#include "tessaly/storage/file_history.h"

#include <algorithm>
#include <string>

#include "platform/file.h"
#include "tessaly/platform/mbcs.h"
#include "tessaly/text/directories.h"

using enum text::MakeDirectoryResult;

namespace {

constexpr char const* no_prefix = "";
constexpr char const* transit_prefix = "_";

bool EndsInDivider(CString const& path) {
    std::string_view const text = path.View();
    return !text.empty() && text.back() == '\\' && platform::ReverseFind(text, '\\') == text.size() - 1;
}

CString TitleOf(CString const& path) {
    CString title;
    platform::splitpath(path, nullptr, nullptr, &title, nullptr);
    return title;
}

void RenameIfThere(CString const& from, CString const& to) {
    if (platform::IsFile(from)) platform::RenameFile(from, to);
}

}  // namespace

int CFileHistory::SetHistoryNum(int number) {
    if (number < 0) return not_found;
    number_ = number;
    return ok;
}

int CFileHistory::SetTargetFileName(CString path) {
    if (path.GetLength() > longest_path) return too_long;
    if (!platform::IsFile(path)) return not_found;
    target_ = path;
    return ok;
}

int CFileHistory::SetSaveDirPath(CString path, int create) {
    if (path.GetLength() > longest_path) return too_long;
    if (!platform::Exists(path)) {
        if (!create) return not_found;
        if (MakeDirectoryCompel(path) != make_directory_ok) return cannot_make;
    }
    if (platform::IsDirectory(path)) directory_ = path;
    return ok;
}

CString CFileHistory::CopyPath(char const* prefix, int number) const {
    CString path;
    path.Format("%s%s%s%s.%03d", static_cast<char const*>(directory_), EndsInDivider(directory_) ? "" : "\\",
                prefix, static_cast<char const*>(TitleOf(target_)), number);
    return path;
}

void CFileHistory::ExecuteCopy() {
    if (target_.IsEmpty() || directory_.IsEmpty()) return;
    int const copies = std::min(number_, most_copies);
    for (int n = copies; n >= 1; --n) RenameIfThere(CopyPath(no_prefix, n), CopyPath(transit_prefix, n));
    for (int n = copies - 1; n >= 1; --n)
        RenameIfThere(CopyPath(transit_prefix, n), CopyPath(no_prefix, n + 1));
    if (copies > 0) platform::CopyFile(target_, CopyPath(no_prefix, 1), false);
    DeleteTransitFiles();
}

void CFileHistory::DeleteTransitFiles() const {
    CString const folder = EndsInDivider(directory_) ? directory_ : directory_ + "\\";
    CString const start = transit_prefix + TitleOf(target_) + ".";
    // The title may hold characters that are wildcards in a pattern, so it is compared here.
    CFileFind found;
    for (bool more = found.FindFile(folder + transit_prefix + "*"); more;) {
        more = found.FindNextFile();
        if (!found.IsDirectory() && found.GetFileName().View().starts_with(start.View()))
            platform::RemoveFile(found.GetFilePath());
    }
}
