#include <sys/stat.h>

#include <iterator>
#include <string>

#include "tessaly/platform/dialog.h"
#include "tessaly/platform/path.h"
#include "tessaly/platform/process.h"
#include "tessaly/text/dates.h"
#include "tests/customers/customer_fixture.h"
#include "tests/support/file_content.h"

namespace {

// Runs an import over a file, and reads its log.
class ForeignImportTest : public CustomerTest {
  protected:
    ForeignImportTest() { platform::SkipSleeps(true); }
    ~ForeignImportTest() override { platform::SkipSleeps(false); }

    CString Put(std::string_view content) { return WriteFile("input.csv", content); }
    int Becky(std::string_view content, int mode = 3) {
        return db.ImportDBfromBeckyFile(Put(content), log, &imported, &errors, &state, &message, mode);
    }
    int OutLook(std::string_view content, int mode = 3) {
        return db.ImportDBfromOutLookFile(Put(content), log, &imported, &errors, &state, &message, mode);
    }
    int Corvane(std::string_view content, char const* duplicate) {
        return db.ImportDBfromCorvaneFile(Put(content), log, &imported, &errors, &state, &message, duplicate,
                                          nullptr);
    }
    int Belmora(std::string_view content, char const* duplicate, int rewrite = 1) {
        return db.ImportDBfromBelmoraFile(Put(content), log, &imported, &errors, &state, &message, duplicate,
                                          rewrite);
    }
    // The log without its head, which names the input, and its moments.
    std::string Lines() {
        std::string text = ContentOf(log);
        std::string const moment = "\n2004/05/06 07:08:09\n\n";
        EXPECT_TRUE(text.starts_with("○インポート開始日時" + moment + "○インポート対象")) << text;
        EXPECT_TRUE(text.ends_with("○インポート終了日時" + moment)) << text;
        text.erase(0, text.find("\n\n", text.find("○インポート対象")) + 2);
        text.erase(text.rfind("○インポート終了日時"));
        return text;
    }
    static std::string Complete(int imported, int errors) {
        return "○インポート終了ステータス\nインポートは" + std::to_string(imported) + "件(及びデータエラー" +
               std::to_string(errors) + "件)をインポートして、正常終了しました。\n\n";
    }
    static std::string Broken(std::string const& reason) {
        return "○インポート終了ステータス\nインポートは異常終了しました。\n理由[" + reason + "]\n\n";
    }
    static std::string Section(std::string const& lines) { return "○データエラーお客様\n" + lines + "\n"; }

    CString const log = folder.Path("log.txt");
    int imported = -1, errors = -1, state = -1;
    CString message;
};

TEST_F(ForeignImportTest, BeckyGoodAndBadLines) {
    int const known = Add("K@example.jp", "旧"), gone = Add("gone@example.jp", "消");
    db.DeleteCustomer(gone);
    Advance();
    clock.Set({now_seconds, 0});
    std::string const rest = ",,,,,,,,,";
    EXPECT_EQ(4, Becky("new@example.jp,(株)｢ﾃｽﾄ｣,営業㈱,山①,\"太,\"\"郎\"\"\",03-1234-5678,,1-2,千代田区,"
                       "東京都,100-0001\r\n"
                       "k@example.jp,,,新,,,,,,,\r\n\r\n"
                       "GONE@example.jp,,,消,,,,,,,\r\n"
                       "NEW@example.jp,,,山田,,,,,,,\r\n"
                       ",①,,,,x3,,,,,1a\r\n"
                       "bad,,,①②\xFE,,,,,,,\r\n"
                       "few@example.jp" +
                       rest +
                       "\r\n"
                       "bare@example.jp" +
                       rest +
                       ",\nmore\r\n"
                       "last@example.jp" +
                       rest + ","));
    EXPECT_EQ(4, imported + 0);
    EXPECT_EQ(0, state);
    EXPECT_EQ("インポートを開始します", message);
    EXPECT_EQ(
        Section(
            "1行目のお客様(メールアドレス:new@example.jp)は、[姓]に機種依存文字「①」が含まれている、"
            "ためインポート出来ませんでした。\n"
            "6行目のお客様(メールアドレス:)は、[メール アドレス]にメールアドレスが設定されていない、"
            "[会社名/団体名]に機種依存文字「①」が含まれている、[郵便番号]に不正な文字が設定されている、"
            "[自宅電話番号]に不正な文字が設定されている、ためインポート出来ませんでした。\n"
            "7行目のお客様(メールアドレス:bad)は、[メール アドレス]に不正なメールアドレスが設定されている、"
            "[姓]に機種依存文字「①②\xFE」が含まれている、ためインポート出来ませんでした。\n"
            "8行目のお客様(メールアドレス:few@example.jp)は、項目数が異なるためインポート出来ませんでした。\n"
            "9行目のお客様(メールアドレス:bare@example.jp)は、[郵便番号]に不正な文字が設定されている、"
            "ためインポート出来ませんでした。\n") +
            Complete(4, 5),
        Lines());
    ExpectCells(known, {{1, "k@example.jp"}, {2, "新"}, {21, "Y"}, {53, ""}});
    ExpectCells(gone, {{1, "GONE@example.jp"}, {53, ""}});
    ExpectCells(gone + 1,
                {{1, "NEW@example.jp"}, {2, "山田"}, {21, "Y"}, {22, "Y"}, {54, now_text}, {55, now_text}});
    ExpectCells(gone + 2, {{1, "last@example.jp"}});
    ExpectIndexIsRight(gone + 2);
}

TEST_F(ForeignImportTest, BeckyRulesModesAndSeams) {
    int const known = Add("k@example.jp");
    EXPECT_EQ(
        2,
        Becky("k@example.jp,会社㈲,ﾌﾞ,,,03--1234-,090-1-,1-2,区,県,1-00\r\nn@example.jp,,,,,,,,,,\r\n", 2));
    ExpectCells(known, {{6, "会社(有)"},
                        {7, "ブ"},
                        {9, "100"},
                        {11, "県"},
                        {12, "区"},
                        {13, "1-2"},
                        {15, "03-1234"},
                        {17, "090-1"},
                        {21, "N"}});
    ExpectCells(known + 1, {{21, "N"}, {15, ""}});
    EXPECT_EQ(2, Becky("k@example.jp,,,,,,,,,,\r\nm@example.jp,,,,,,,,,,\r\n", 0));
    ExpectCells(known, {{21, "N"}});
    EXPECT_EQ(1, Becky("k@example.jp,,,,,,,,,,\r\n", 1));
    ExpectCells(known, {{21, "Y"}});
    // A pair of line ends across two pieces of 1023 bytes ends no line.
    std::string const head = "s@example.jp,", tail = ",,,,,,,,,";
    auto const line = [&](std::size_t size) {
        return head + std::string(size - head.size() - tail.size(), 'x') + tail;
    };
    EXPECT_EQ(2, Becky(line(1021) + "\r\n" + line(5000) + "\r\n"));
    EXPECT_EQ(0, Becky(line(1022) + "\r\nt@example.jp,,,,,,,,,,\r\n"));
    EXPECT_EQ(1, errors);
    EXPECT_EQ(0, Becky(""));
    EXPECT_EQ(Complete(0, 0), Lines());
}

TEST_F(ForeignImportTest, OutLookRecordsAndTitles) {
    EXPECT_EQ(3, OutLook("メモ,電子メール アドレス,姓,x,自宅電話番号 :,自宅の郵便番号\r\n"
                         "\"一\r\n二,\n\"\"三\"\"\",a@example.jp,\"山,田\",,03-1,100-1\r\n"
                         "\r\n\n"
                         "m,b@example.jp,鈴木,,,\n"
                         "m,c@example.jp\r\n"
                         "m,bad,,,,x\r\n"
                         ",d@example.jp,佐藤,,,\r\n"
                         "m,e@example.jp,\"open"));
    EXPECT_EQ(Section("3行目のお客様(電子メール "
                      "アドレス:c@example.jp)は、項目数が異なるためインポート出来ませんでした。\n"
                      "4行目のお客様(電子メール アドレス:bad)は、[電子メール "
                      "アドレス]に不正なメールアドレスが設定されている、"
                      "[自宅の郵便番号]に不正な文字が設定されている、ためインポート出来ませんでした。\n"
                      "6行目のお客様(電子メール "
                      "アドレス:e@example.jp)は、項目数が異なるためインポート出来ませんでした。\n") +
                  Complete(3, 3),
              Lines());
    ExpectCells(0, {{1, "a@example.jp"}, {2, "山,田"}, {9, "1001"}, {15, "03-1"}});
    ExpectCells(2, {{1, "d@example.jp"}, {2, "佐藤"}});
    std::string titles = "電子メール アドレス";
    for (int i = 0; i < 28; ++i) titles += ",t";
    EXPECT_EQ(0, OutLook(titles));
    const struct {
        std::string content;
        char const* reason;
    } rows[] = {{"", "タイトル行が見つかりません。"},
                {"\r\n", "タイトル行が見つかりません。"},
                {titles + ",t", "項目数が異なっています。"},
                {"電子メールアドレス,姓\r\n", "メールアドレスが見つかりません。"}};
    for (auto const& row : rows) {
        EXPECT_EQ(CDatabaseEdit::outlook_bad_titles, OutLook(row.content));
        EXPECT_EQ(Broken(std::string("OutLook データファイルの解析に失敗しました。") + row.reason), Lines());
        EXPECT_EQ(10602, LastError());
    }
}

constexpr char corvane_titles[] =
    "顧客ID,ユーザーID,アクセスコード,顧客名(姓),顧客名(名),顧客名よみ(姓),顧客名よみ(名),郵便番号,都道府県,"
    "住所,"
    "電話番号,メールアドレス,配信希望";

std::string CorvaneLine(char const* id, char const* address, char const* wish, char const* date) {
    return std::string(id) + ",u,c,姓,名,よみ,よみ,100-0001,東京都,千代田区,03-1," + address + "," + wish +
           (date ? std::string(",") + date : "") + "\r\n";
}

TEST_F(ForeignImportTest, CorvaneAndWhoIsNewer) {
    int const known = Add("k@example.jp", "旧"), gone = Add("g@example.jp");
    db.DeleteCustomer(gone);
    std::string const titles = std::string(corvane_titles) + ",更新日時\r\n";
    std::string const file = titles + CorvaneLine("1", "k@example.jp", "希望しない", "2004/5/6 07:08:08") +
                             CorvaneLine("2", "n@example.jp", "", "") +
                             CorvaneLine("3", "x@example.jp", "たぶん", "2004/5/6") +
                             CorvaneLine("4", "y@example.jp", "希望する", nullptr) + "\r\n" +
                             CorvaneLine("5", "g@example.jp", "", "");
    EXPECT_EQ(1, Corvane(file, "0"));
    std::string const refused =
        "3行目のお客様(顧客ID:3)は、[配信希望]に不正な文字が設定されている、[更新日時]"
        "に不正な文字が設定されている、"
        "ためインポート出来ませんでした。\n"
        "4行目のお客様(顧客ID:4)は、項目数が異なるためインポート出来ませんでした。\n"
        "5行目のお客様(顧客ID:)は、項目数が異なるためインポート出来ませんでした。\n";
    std::string const newer = "は、既存データの方が新しいためインポートしませんでした。\n",
                      exists = "は、既に存在するためインポートしませんでした。\n";
    EXPECT_EQ(Section("1行目のお客様(顧客ID:1)" + newer + refused + "6行目のお客様(顧客ID:5)" + newer) +
                  Complete(1, 3),
              Lines());
    ExpectCells(known, {{2, "旧"}, {21, "Y"}});
    ExpectCells(gone + 1, {{1, "n@example.jp"}, {2, "姓"}, {9, "1000001"}, {15, "03-1"}, {21, "Y"}});

    EXPECT_EQ(1, Corvane(titles + CorvaneLine("1", "k@example.jp", "希望しない", "2004/5/6 07:08:09"), "0"));
    ExpectCells(known, {{2, "姓"}, {21, "N"}});
    EXPECT_EQ(0, Corvane(titles + CorvaneLine("1", "k@example.jp", "", "") +
                             CorvaneLine("5", "g@example.jp", "", ""),
                         "2"));
    EXPECT_EQ(
        Section("1行目のお客様(顧客ID:1)" + exists + "2行目のお客様(顧客ID:5)" + exists) + Complete(0, 0),
        Lines());
    ExpectCells(gone, {{53, "Y"}});
    EXPECT_EQ(2, Corvane(titles + CorvaneLine("1", "k@example.jp", "", "") +
                             CorvaneLine("5", "g@example.jp", "", ""),
                         "1"));
    ExpectCells(known, {{21, "Y"}});
    ExpectCells(gone, {{53, ""}});
}

TEST_F(ForeignImportTest, CorvaneAsksWithoutDates) {
    static std::string asked;
    static int answer;
    SetMessageBoxHandler(
        [](void*, char const* text, char const* title, unsigned type) {
            asked = std::string(title) + "|" + text + "|" + std::to_string(type);
            return answer;
        },
        nullptr);
    int const known = Add("k@example.jp", "旧");
    std::string const file =
        std::string(corvane_titles) + "\r\n" + CorvaneLine("1", "k@example.jp", "", nullptr);
    answer = IDNO;
    EXPECT_EQ(CDatabaseEdit::import_declined, Corvane(file, "0"));
    EXPECT_EQ(
        "インポートの確認|"
        "\r\n更新日時がデータに含まれていないため、全て上書きにてインポートを実行します。\r\nよろしいですか？"
        "|308",
        asked);
    EXPECT_EQ(Broken("更新日時がデータに含まれていないため処理を中断しました。"), Lines());
    EXPECT_EQ(0, LastError());
    ExpectCells(known, {{2, "旧"}});
    answer = IDYES;
    EXPECT_EQ(1, Corvane(file, "0"));
    ExpectCells(known, {{2, "姓"}});
    asked.clear();
    EXPECT_EQ(0, Corvane(file, "2"));
    EXPECT_EQ("", asked);
    SetMessageBoxHandler(nullptr, nullptr);
    for (auto const& [content, reason] :
         {std::pair(std::string("\r\n"), "タイトル行が見つかりません。"),
          std::pair(std::string("顧客ID,メールアドレス\r\n"), "ユーザーIDが見つかりません。")}) {
        EXPECT_EQ(CDatabaseEdit::corvane_bad_titles, Corvane(content, "0"));
        EXPECT_EQ(Broken(std::string("Corvane データファイルの解析に失敗しました。") + reason), Lines());
    }
}

// 37 fields: the given ones, the attributes from the 17th field on.
std::string BelmoraLine(std::vector<std::pair<int, std::string>> const& fields, bool titles = false) {
    static char const* const fixed[] = {"メールアドレス", "姓",       "名",       "姓（ふりがな）",
                                        "名（ふりがな）", "会社名",   "部署名",   "生年月日",
                                        "郵便番号",       "都道府県", "市区町村", "番地以下",
                                        "電話番号",       "FAX番号",  "携帯番号", "DM配信"};
    std::string line;
    for (int i = 0; i < 37; ++i) {
        std::string field = !titles   ? ""
                            : i < 16  ? fixed[i]
                            : i == 35 ? "登録日時"
                            : i == 36 ? "最終更新日時"
                                      : "項" + std::to_string(i);
        if (!titles && i == 36) field = "2030/1/2 03:04";
        for (auto const& [place, text] : fields)
            if (place == i) field = text;
        line += (i > 0 ? "," : "") + field;
    }
    return line + "\r\n";
}

TEST_F(ForeignImportTest, BelmoraAttributesAndRules) {
    std::string const titles = BelmoraLine({}, true);
    EXPECT_EQ(CDatabaseEdit::import_failed, Belmora(titles, "1", 0));
    EXPECT_EQ(Broken("拡張属性の項目Cが数値型ではありません。"), Lines());
    EXPECT_EQ(2, Belmora(titles +
                             BelmoraLine({{0, "a@example.jp"},
                                          {7, "1990/4/1"},
                                          {15, "N"},
                                          {16, "①"},
                                          {17, "12"},
                                          {22, "g"},
                                          {33, "7"},
                                          {34, "2004/1/2"},
                                          {35, "2001/2/3 4:05"}}) +
                             BelmoraLine({{0, "b@example.jp"},
                                          {7, "1990"},
                                          {17, "1-2"},
                                          {15, "y"},
                                          {35, "2004/1/2 3"},
                                          {36, ""}}) +
                             "\r\n" + BelmoraLine({{0, "c@example.jp"}}) + "c@example.jp,\r\n",
                         "0"));
    EXPECT_EQ(Section("2行目のお客様(メールアドレス:b@example.jp)は、[生年月日]"
                      "に不正な文字が設定されている、[DM配信]に不正な文字が設定されている、"
                      "[項17]に不正な文字が設定されている、[登録日時]に不正な文字が設定されている、["
                      "最終更新日時]が設定されていない、"
                      "ためインポート出来ませんでした。\n"
                      "5行目のお客様(メールアドレス:c@example.jp)"
                      "は、項目数が異なるためインポート出来ませんでした。\n") +
                  Complete(2, 2),
              Lines());
    ExpectCells(0, {{8, "1990/04/01 00:00:00"},
                    {21, "N"},
                    {28, "①"},
                    {29, "12"},
                    {34, "g"},
                    {45, "7"},
                    {46, "2004/01/02 00:00:00"},
                    {54, "2001/02/03 04:05:00"},
                    {55, now_text}});
    ExpectCells(1, {{21, "Y"}, {54, now_text}});
    CString name, type;
    option.GetSODataFromMemoryPinPoint(SystemOption::cell_extra_names, name);
    option.GetSODataFromMemoryPinPoint(SystemOption::cell_extra_types + 18, type);
    EXPECT_EQ("項16|2", name + "|" + type);
    option.GetSODataFromMemoryPinPoint(SystemOption::cell_extra_names + 19, name);
    EXPECT_EQ("属性T", name);

    CString const settings = env.DataPath("systemoption.dat");
    platform::RemoveFile(settings);
    platform::MakeDirectory(settings);
    EXPECT_EQ(CDatabaseEdit::import_failed, Belmora(titles + BelmoraLine({{0, "z@example.jp"}}), "0"));
    EXPECT_EQ(Broken(option.GetErrMsg().GetLastMsg()), Lines());
    EXPECT_EQ(2, db.GetLineNumber());
    platform::RemoveDirectory(settings);

    CString number = "1", date = "2", yes = "Y";
    option.SetSODataToMemoryPinPoint(40, number);
    option.SetSODataToMemoryPinPoint(41, date);
    option.SetSODataToMemoryPinPoint(111, yes);
    EXPECT_EQ(1, Belmora(titles + BelmoraLine({{0, "d@example.jp"}, {22, "12"}, {23, "2004/1/2 3"}}) +
                             BelmoraLine({{0, "e@example.jp"}, {22, "x"}, {23, "2004/1"}}),
                         "1", 0));
    EXPECT_EQ(1, errors);
    ExpectCells(2, {{34, "12"}, {35, "2004/01/02 03"}});
    option.GetSODataFromMemoryPinPoint(20, name);
    EXPECT_EQ("項22", name);
    for (auto const& [content, reason] :
         {std::pair(std::string(), "タイトル行が見つかりません。"),
          std::pair(std::string("a\r\n"), "項目数が異なっています。"),
          std::pair(BelmoraLine({{20, "項19"}}, true), "項19が見つかりません。")}) {
        EXPECT_EQ(CDatabaseEdit::belmora_bad_titles, Belmora(content, "1"));
        EXPECT_EQ(Broken(std::string("Belmora データファイルの解析に失敗しました。") + reason), Lines());
    }
}

// The converter is a shell script that copies the address book.
TEST_F(ForeignImportTest, FudemameThroughItsConverter) {
    CString const converter = folder.Path("convert.sh"), work = env.DataPath("fwaimport.tmp");
    auto const run = [&](char const* script, std::string_view content) {
        WriteFile("convert.sh", std::string("#!/bin/sh\n") + script);
        chmod(folder.Host("convert.sh").c_str(), 0755);
        return db.ImportDBfromFWAFile(Put(content), converter, log, &imported, &errors, &state, &message, 1);
    };
    constexpr char const* works =
        "[ \"$3\" = /Import ] && [ \"$4\" = /r:100000000 ] && cp \"$1\" \"${2#/d:}\"\n";
    std::string const titles =
        "x\r\nNo.,e-mail,氏名,ﾌﾘｶﾞﾅ,会社名,部署名１,誕生日,〒,住所１,TEL.,TEL.2:FAX.,TEL.3:携帯,性別,他\r\n";
    EXPECT_EQ(1, run(works,
                     titles + "7,a@example.jp,山田 太郎,ﾔﾏﾀﾞ,社,部,1990/4/1,〒100-0001,東京都千代田区1-2,TEL "
                              "03-1,x,090-1,男,\r\n"
                              "8,,①\r\n"));
    EXPECT_EQ(Section("ｶｰﾄﾞNo.8のお客様は、[e-mail]にメールアドレスが設定されていない、[氏名]"
                      "に機種依存文字「①」が含まれている、"
                      "ためインポート出来ませんでした。\n") +
                  Complete(1, 1),
              Lines());
    ExpectCells(0, {{2, "山田 太郎"},
                    {4, "ヤマダ"},
                    {8, "1990/04/01"},
                    {9, "1000001"},
                    {11, "東京都"},
                    {12, "千代田区1-2"},
                    {15, "03-1"},
                    {17, ""},
                    {19, "090-1"},
                    {21, "Y"},
                    {28, "男"}});
    EXPECT_EQ("(no file)", ContentOf(work));
    CString const odd = WriteFile("a \" b\".fwa", titles + "9,odd@example.jp\r\n");
    EXPECT_EQ(1, db.ImportDBfromFWAFile(odd, converter, log, &imported, &errors, &state, &message, 1));
    ExpectCells(1, {{1, "odd@example.jp"}});
    std::string const head = "筆まめ住所録ファイルの解析に失敗しました。";
    const struct {
        char const* script;
        std::string content;
        int result;
        std::string reason;
    } rows[] = {
        {"exit 1\n", "", CDatabaseEdit::fwa_not_converted, head + "Fwaファイルの解析ができません。"},
        {"kill -9 $$\n", "", CDatabaseEdit::fwa_not_converted, head + "Fwaファイルの解析ができません。"},
        {"exit 0\n", "", CDatabaseEdit::fwa_not_opened, head + "CSVファイルが開けません。"},
        {works, "", CDatabaseEdit::fwa_bad_titles, head + "タイトル行が見つかりません。"},
        {works, "x\r\n", CDatabaseEdit::fwa_bad_titles, head + "データがありません。"},
        {works, "x\r\nNo.,e-mail\r\n", CDatabaseEdit::fwa_bad_titles, head + "氏名が見つかりません。"}};
    for (auto const& row : rows) {
        platform::WriteWholeFile(work, titles + "1,left@example.jp\r\n");  // by a run that was killed
        EXPECT_EQ(row.result, run(row.script, row.content));
        EXPECT_EQ(Broken(row.reason), Lines());
        EXPECT_EQ("(no file)", ContentOf(work));
    }
    EXPECT_EQ(1, state);
    EXPECT_EQ(
        CDatabaseEdit::fwa_not_converted,
        db.ImportDBfromFWAFile(Put("x"), folder.Path("none"), log, &imported, &errors, &state, &message, 1));
    CString number = "1";
    option.SetSODataToMemoryPinPoint(SystemOption::cell_extra_types, number);
    EXPECT_EQ(CDatabaseEdit::import_failed, run(works, titles));
    EXPECT_EQ(Broken("拡張属性の項目Aが文字列型ではありません。"), Lines());
}

// The text that the reader of records leaves out at the end of a file is lost without a message unless the
// option whole_file is set.
TEST_F(ForeignImportTest, TheEndOfTheFile) {
    std::string const titles = std::string(corvane_titles) + "\r\n",
                      last = CorvaneLine("1", "a@example.jp", "", nullptr),
                      unended = last.substr(0, last.size() - 2),
                      open = "2,\"u,c\r\n" + CorvaneLine("3", "c@example.jp", "", nullptr);
    std::string const never_closed =
        "引用符が閉じられておらず、ここからファイルの終わりまでを読めないためインポート出来ませんでした。\n";
    const struct {
        std::string lines;
        bool whole;
        int imported;
        std::string refused;
    } rows[] = {
        {unended, false, 0, ""},
        {unended, true, 1, ""},
        {last + unended, true, 2, ""},
        {open, false, 0, ""},
        {last + open, true, 1, "2行目のお客様(顧客ID:2)は、" + never_closed},
        {open + "2,\"", true, 0,
         "1行目のお客様(顧客ID:2)は、項目数が異なるためインポート出来ませんでした。\n"},
    };
    for (auto const& row : rows) {
        db.SetForeignImportOptions({.stop = {}, .whole_file = row.whole});
        EXPECT_EQ(row.imported, Corvane(titles + row.lines, "1")) << row.lines;
        EXPECT_EQ(row.refused.empty() ? Complete(row.imported, 0)
                                      : Section(row.refused) + Complete(row.imported, 1),
                  Lines())
            << row.lines;
    }
}

TEST_F(ForeignImportTest, OutLookWithAQuoteThatStaysOpen) {
    db.SetForeignImportOptions({.stop = {}, .whole_file = true});
    for (char const* open : {"\"a@example.jp,表\r\n", "a@example.jp,表,\"x\r\n"}) {
        EXPECT_EQ(0, OutLook(std::string("電子メール アドレス,姓\r\n") + open + "b@example.jp,表\r\n"));
        EXPECT_EQ(1, errors);
        EXPECT_NE(std::string::npos, Lines().find("引用符が閉じられておらず、")) << open;
    }
}

TEST_F(ForeignImportTest, GivesEachLineThePresentTime) {
    static constexpr int moments[] = {0, 0, 1, 2, 1};  // the text of a second is made once
    char expected[std::size(moments)][text::date_data_size];
    std::string lines;
    for (std::size_t i = 0; i < std::size(moments); ++i)
        lines += std::to_string(i) + "@example.jp,,,,,,,,,,\r\n";
    std::size_t line = 0;
    db.SetForeignImportOptions({.stop = [&] {
        clock.Set({now_seconds + moments[line], 999});
        GetNowDateTime(expected[line++]);
        return false;
    }});
    EXPECT_EQ(std::ssize(moments), Becky(lines));
    for (int id = 0; id < std::ssize(moments); ++id)
        ExpectCells(id, {{54, expected[id]}, {55, expected[id]}});
}

TEST_F(ForeignImportTest, EndsWhenItIsStopped) {
    int lines = 2;
    db.SetForeignImportOptions({.stop = [&] { return lines-- == 0; }});
    EXPECT_EQ(CDatabaseEdit::import_stopped,
              Becky("a@example.jp,,,,,,,,,,\r\nbad\r\nb@example.jp,,,,,,,,,,\r\n"));
    EXPECT_EQ(
        "○データエラーお客様\n"
        "2行目のお客様(メールアドレス:bad)は、項目数が異なるためインポート出来ませんでした。\n"
        "○インポート終了ステータス\nインポートは1件(及びデータエラー1件)をインポートして、\n"
        "異常終了しました。\n理由[途中で中止されました。]\n\n",
        Lines());
    EXPECT_EQ(0, LastError());
    ExpectCells(0, {{1, "a@example.jp"}});
    ExpectIndexIsRight(1);
}

TEST_F(ForeignImportTest, WhatIsMissing) {
    CString const file = Put("x"), none = folder.Path("none"), nowhere = folder.Path("no\\log.txt");
    EXPECT_EQ(-66, db.ImportDBfromBeckyFile(none, log, &imported, &errors, &state, &message, 1));
    EXPECT_EQ(Broken("Becky! のデータファイルの解析に失敗しました。CSVファイルが開けません。"), Lines());
    EXPECT_EQ("Becky!のデータファイルをTessaly５ /R.2形式に変換中です", message);
    EXPECT_EQ(-61, db.ImportDBfromCorvaneFile(none, log, &imported, &errors, nullptr, nullptr, "0", nullptr));
    EXPECT_EQ(Broken("Corvane のデータファイルの解析に失敗しました。CSVファイルが開けません。"), Lines());
    platform::RemoveFile(log);
    EXPECT_EQ(-71, db.ImportDBfromOutLookFile(none, log, &imported, &errors, &state, &message, 1));
    EXPECT_EQ(-66, db.ImportDBfromBelmoraFile(none, log, &imported, &errors, &state, &message, "0", 0));
    EXPECT_EQ(-56, db.ImportDBfromBeckyFile(file, nowhere, &imported, &errors, &state, &message, 1));
    EXPECT_EQ(-52, db.ImportDBfromFWAFile(file, file, nowhere, &imported, &errors, &state, &message, 1));
    EXPECT_EQ(-61,
              db.ImportDBfromCorvaneFile(file, nowhere, &imported, &errors, &state, &message, "0", nullptr));
    EXPECT_EQ(-55, db.ImportDBfromBeckyFile("", log, &imported, &errors, &state, &message, 1));
    EXPECT_EQ(-70, db.ImportDBfromOutLookFile(file, "", &imported, &errors, &state, &message, 1));
    EXPECT_EQ(-60, db.ImportDBfromCorvaneFile(file, log, nullptr, &errors, &state, &message, "0", nullptr));
    EXPECT_EQ(-65, db.ImportDBfromBelmoraFile(file, log, &imported, nullptr, &state, &message, "0", 0));
    EXPECT_EQ(-50, db.ImportDBfromFWAFile(file, "", log, &imported, &errors, &state, &message, 1));
    EXPECT_EQ("(no file)", ContentOf(log));
    CDatabaseEdit bare;
    EXPECT_EQ(-12, bare.ImportDBfromBeckyFile(file, log, &imported, &errors, &state, &message, 1));
    bare.SetEnvManager(&env);
    EXPECT_EQ(-14, bare.ImportDBfromOutLookFile(file, log, &imported, &errors, &state, &message, 1));
}

// A quote that is never closed must not be searched again and again.
TEST_F(ForeignImportTest, OpenQuotesTakeLinearTime) {
    std::string text = "電子メール アドレス\r\n\"";
    for (int i = 0; i < 500000; ++i) text += "x\"\r\n";
    EXPECT_EQ(0, OutLook(text + "\r\n\"" + std::string(3000000, 'y')));
    EXPECT_EQ(0, Becky(std::string(3000000, '\n') + std::string(3000000, '"')));
}

}  // namespace
