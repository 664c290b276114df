#include "tessaly/storage/err_msg.h"

#include <gtest/gtest.h>

using enum storage::ErrorCode;

namespace {

TEST(ErrMsg, IsNeverEmpty) {
    CErrMsg error;
    EXPECT_EQ(error.GetLastCode(), 0);
    EXPECT_STREQ(error.GetLastMsg(), "正常");
    error.SetErr(env_not_initialised);
    EXPECT_EQ(error.Clear(), 1);
    EXPECT_EQ(error.GetLastCode(), 0);
    EXPECT_STREQ(error.GetLastMsg(), "正常");
}

TEST(ErrMsg, TakesTheTextOfTheTable) {
    constexpr char unknown_text[] = "エラーコードに対応付けられたメッセージが見つかりません";
    const struct {
        int code;
        int result;
        char const* text;
    } rows[] = {
        {9023, 1, "正しくない登録日時を取得しました"},
        {16012, 1, "パスワードが入力されなかったので\r\n接続がキャンセルされました"},
        {9022, 0, unknown_text},  // a gap inside a block
        {-2, 0, unknown_text},
        {16014, 0, unknown_text},  // behind the last one
        {-1, 1, ""},               // the row behind the messages has no text
        {0, 1, "正常"},            // not one of the unused slots
    };
    for (auto const& row : rows) {
        CErrMsg error;
        EXPECT_EQ(error.SetErr(row.code), row.result) << row.code;
        EXPECT_EQ(error.GetLastCode(), row.code);
        EXPECT_STREQ(error.GetLastMsg(), row.text) << row.code;
        EXPECT_STREQ(CErrMsg(row.code).GetLastMsg(), row.text) << row.code;
    }
}

TEST(ErrMsg, FillsInValues) {
    CErrMsg error;
    EXPECT_EQ(error.SetErr(smtp_server_not_ready, "421 表示 %s closing"), 1);
    EXPECT_STREQ(error.GetLastMsg(), "送信サーバーの準備が出来ていません.\r\n[421 表示 %s closing]");
    // Its own text may be the value.
    EXPECT_EQ(error.SetErr(pop_login_failed, error.GetLastMsg()), 1);
    EXPECT_STREQ(error.GetLastMsg(),
                 "ログインに失敗しました\r\n送信サーバーの準備が出来ていません.\r\n[421 表示 %s closing]");

    std::string const long_reply(5000, 'x');
    error.SetErr(pop_list_failed, long_reply.c_str());
    EXPECT_EQ(error.GetLastMsg(), "メールの一覧取得に失敗しました\r\n" + long_reply);

    EXPECT_EQ(error.SetErrS(smtp_auth_failed, "認証 %d:%s", 535, "no"), 1);
    EXPECT_EQ(error.GetLastCode(), 2109);
    EXPECT_STREQ(error.GetLastMsg(), "認証 535:no");
    EXPECT_EQ(error.SetErrS(424242, "own"), 1);
    EXPECT_STREQ(error.GetLastMsg(), "own");

    CString raw;
    EXPECT_EQ(CErrMsg::GetErrMsgFromDefined(2104, raw), 1);
    EXPECT_STREQ(raw, "送信サーバーの準備が出来ていません.\r\n[%s]");
    EXPECT_EQ(CErrMsg::GetErrMsgFromDefined(2103, raw), 0);
    EXPECT_STREQ(raw, "エラーコードに対応付けられたメッセージが見つかりません");
}

TEST(ErrMsg, CopiesTheFinishedText) {
    CErrMsg from;
    from.SetErr(general_file_not_found, "C:\\表\\a.dat");
    CErrMsg to;
    EXPECT_EQ(&CErrMsg::Copy(to, from), &to);
    CErrMsg const made(from);
    from.Clear();
    for (CErrMsg const* copy : {static_cast<CErrMsg const*>(&to), &made}) {
        EXPECT_EQ(copy->GetLastCode(), 2);
        EXPECT_STREQ(copy->GetLastMsg(), "ファイルが見つかりません：\r\nC:\\表\\a.dat");
    }
}

}  // namespace
