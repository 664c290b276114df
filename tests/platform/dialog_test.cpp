#include "tessaly/platform/dialog.h"

#include <gtest/gtest.h>

#include <string>

namespace {

class Dialog : public testing::Test {
  protected:
    ~Dialog() override {
        SetMessageBoxHandler(nullptr, nullptr);
        SetFileDialogHandler(nullptr, nullptr);
    }
};

TEST_F(Dialog, DefaultButtonAnswers) {
    static constexpr struct {
        unsigned type;
        int button;
    } rows[] = {
        {MB_OK, IDOK},
        {MB_OK | MB_ICONSTOP, IDOK},
        {MB_OKCANCEL, IDOK},
        {MB_OKCANCEL | MB_DEFBUTTON2, IDCANCEL},
        {MB_YESNO | MB_ICONQUESTION, IDYES},
        {MB_YESNO | MB_ICONEXCLAMATION | MB_DEFBUTTON2, IDNO},
        {MB_YESNOCANCEL, IDYES},
        {MB_YESNOCANCEL | MB_DEFBUTTON2, IDNO},
        {MB_YESNOCANCEL | MB_DEFBUTTON3, IDCANCEL},
        {0x0002, IDOK},
    };
    testing::internal::CaptureStderr();
    for (auto const& row : rows) EXPECT_EQ(row.button, AfxMessageBox("?", row.type)) << row.type;
    testing::internal::GetCapturedStderr();
}

TEST_F(Dialog, TextGoesToStandardErrorWithoutAHandler) {
    testing::internal::CaptureStderr();
    AfxMessageBox("表を\r\n開けません\x1b[2J");
    ShowMessageBox(nullptr, "題", MB_OK);
    EXPECT_EQ(
        std::string(
            "\xE8\xA1\xA8\xE3\x82\x92\n\xE9\x96\x8B\xE3\x81\x91\xE3\x81\xBE\xE3\x81\x9B\xE3\x82\x93 [2J\n"
            "\xE9\xA1\x8C: \n"),
        testing::internal::GetCapturedStderr());
}

TEST_F(Dialog, HandlerAnswers) {
    std::string said;
    SetMessageBoxHandler(
        [](void* context, char const* text, char const* title, unsigned type) {
            *static_cast<std::string*>(context) += std::string(title ? title : "-") + "/" + text;
            return type == MB_YESNO ? IDNO : IDOK;
        },
        &said);
    EXPECT_EQ(IDNO, AfxMessageBox("表", MB_YESNO));
    EXPECT_EQ(IDOK, ShowMessageBox(nullptr, "題", MB_OK));
    EXPECT_EQ("-/表題/", said);
}

TEST_F(Dialog, FileDialog) {
    CFileDialog without(true, "tsb", "a.tsb", 0, nullptr);
    EXPECT_EQ(IDCANCEL, without.DoModal());

    CString chosen = "C:\\表.d\\backup";
    SetFileDialogHandler(
        [](void* context, FileQuestion const& asked, CString& path) {
            path = *static_cast<CString*>(context) + (asked.open ? "" : asked.default_name);
            return std::string_view(asked.filter) == "all" && asked.flags == OFN_HIDEREADONLY;
        },
        &chosen);
    static constexpr struct {
        bool open;
        char const* extension;
        char const* name;
        char const* path;
    } rows[] = {
        {true, "tsb", "-", "C:\\表.d\\backup"},
        {false, "tsb", "-", "C:\\表.d\\backup-.tsb"},
        {false, nullptr, "-", "C:\\表.d\\backup-"},
        {false, "tsb", ".old", "C:\\表.d\\backup.old"},
    };
    for (auto const& row : rows) {
        CFileDialog dialog(row.open, row.extension, row.name, OFN_HIDEREADONLY, "all");
        EXPECT_EQ(IDOK, dialog.DoModal());
        EXPECT_EQ(row.path, dialog.GetPathName());
    }
    CFileDialog cancelled(true, "tsb", "", OFN_HIDEREADONLY, "none");
    EXPECT_EQ(IDCANCEL, cancelled.DoModal());
    EXPECT_TRUE(cancelled.GetPathName().IsEmpty());
}

TEST_F(Dialog, UserException) { EXPECT_THROW(AfxThrowUserException(), CUserException); }

}  // namespace
