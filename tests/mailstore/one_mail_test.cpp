#include <gtest/gtest.h>

#include <tuple>

#include "mailstore/mail_list_viewer.h"
#include "mailstore/one_mail_data.h"
#include "mailstore/one_mail_maker.h"
#include "platform/clock.h"
#include "platform/dialog.h"
#include "storage/decimal.h"
#include "storage/error_codes.h"
#include "tests/mailstore/mail_environment.h"
#include "tests/platform/time_zone.h"
#include "tests/support/message_boxes.h"
#include "text/directories.h"

namespace {

constexpr int format_4 = 4, format_5 = 5;
constexpr std::int64_t now_seconds = 1083827289;  // 2004/05/06 07:08:09

// --- MailWriter

class MailWriterTest : public testing::Test {
  protected:
    MailWriterTest() {
        platform::MakeDirectory(place.Path("MAIL\\3"));
        writer.SetTermNum(OneMail::slot_count);
        writer.SetEnvManager(&place.env);
    }
    CString FilePath() const { return place.Path("MAIL\\3\\mail3.dat"); }
    int LastError() { return writer.GetErrMsg().GetLastCode(); }

    MailEnvironment place;
    MailWriter writer;
};

TEST_F(MailWriterTest, TextsComeBackFromTheSlotsTheyWereGivenTo) {
    char const* const body = "<%NAME_SEI%>様\r\n\"表\",\r\nソ\\\t, 能";
    EXPECT_EQ(1, writer.SetMailFromFile(-1, 0, nullptr));
    EXPECT_EQ(0, writer.WriteMailAllTypeToFile());
    EXPECT_EQ(mail_body_bad_mail_id_set, LastError());
    EXPECT_EQ(0, writer.SetNewMailID(-1));
    EXPECT_EQ(mail_body_bad_mail_id_given, LastError());
    EXPECT_EQ(1, writer.SetNewMailID(3));
    EXPECT_EQ(0, writer.SetNewMailID(3));  // no new mail any more
    EXPECT_EQ(mail_body_bad_mail_id_set, LastError());
    EXPECT_EQ(0, writer.SetMailRecordToMemory("件名", body, pc));
    EXPECT_EQ(
        0, writer.SetMailRecordToMemory(std::string(128, 's').c_str(), std::string(10240, 'b').c_str(), wl));
    EXPECT_EQ(mail_body_bad_mail_id_set, LastError());  // within both limits
    EXPECT_EQ(0, writer.SetMailRecordToMemory("", std::string(10241, 'b').c_str(), nd));
    EXPECT_EQ(mail_body_bad_data, LastError());
    writer.GetErrMsg().Clear();
    EXPECT_EQ(0,
              writer.SetMailRecordToMemory(std::string(129, 's').c_str(), nullptr, static_cast<TermType>(6)));
    EXPECT_EQ(mail_body_bad_data, LastError());
    for (int const slot : {-1, 7})
        EXPECT_EQ(-2, writer.SetMailRecordToMemory("", "", static_cast<TermType>(slot)));
    EXPECT_EQ(1, writer.WriteMailAllTypeToFile());

    MailWriter reader(&place.env, 5);  // the file has more slots than asked for
    EXPECT_EQ(1, reader.SetMailFromFile(3, 0, nullptr));
    EXPECT_EQ(body, reader.GetMailElement(MailWriter::element_body, pc));
    EXPECT_EQ(128, reader.GetMailElementLength(MailWriter::element_subject, wl));
    EXPECT_EQ(10240, reader.GetMailElementLength(MailWriter::element_body, wl));
    EXPECT_EQ(10241, reader.GetMailElementLength(MailWriter::element_body, nd));
    EXPECT_EQ(129, reader.GetMailElementLength(MailWriter::element_subject, static_cast<TermType>(6)));
    for (auto const& [element, slot, code] : {std::tuple(2, 9, mail_body_bad_element_number),
                                              {-1, 0, mail_body_bad_element_number},
                                              {0, 7, mail_body_bad_terminal_type},
                                              {1, -1, mail_body_bad_terminal_type}}) {
        EXPECT_EQ("", reader.GetMailElement(element, static_cast<TermType>(slot)));
        EXPECT_EQ(code, reader.GetErrMsg().GetLastCode());
        reader.GetErrMsg().Clear();
        EXPECT_EQ(0, reader.GetMailElementLength(element, static_cast<TermType>(slot)));
        EXPECT_EQ(code, reader.GetErrMsg().GetLastCode());
    }

    EXPECT_EQ(1, reader.WriteFromMemoryToFileAppointFileName(place.Path("copy.dat"), "別の鍵"));
    EXPECT_EQ(TableContentOf(FilePath(), place.env.GetDBKey()),
              TableContentOf(place.Path("copy.dat"), "別の鍵"));
    EXPECT_EQ(0, reader.WriteFromMemoryToFileAppointFileName(place.Path("no\\copy.dat"), nullptr));
    EXPECT_EQ(mail_body_file_write_failed, reader.GetErrMsg().GetLastCode());
}

TEST_F(MailWriterTest, MissingAndShortFilesAreFilledUpAndDamagedOnesRefused) {
    EXPECT_EQ(1, writer.SetMailFromFile(3, 0, nullptr));  // no file
    EXPECT_EQ("", writer.GetMailElement(MailWriter::element_body, static_cast<TermType>(6)));
    EXPECT_EQ(0, LastError());
    const CString key = place.env.GetDBKey();
    struct {
        std::string plain;
        char const* written_with;
        int use_key;
        char const* read_with;
        int result;
    } const cases[] = {{"", key, 0, "", 1},
                       {"\"s\",\"b\"\r\n", key, 0, "", 1},
                       {"\"s\",\"b\"\r\n", "別の鍵", 1, "別の鍵", 1},
                       {"\"s\",\"b\"\r\n", nullptr, 1, nullptr, 1},
                       {"\"s\",\"b\"\r\n\"s\"\r\n", key, 0, "", 0},
                       {"\"s\"\r\n", key, 0, "", 0},
                       {"\"s\",\"b\",\"x\"\r\n", key, 0, "", 0},
                       {"\"s\",\"b\"\r\n", "別の鍵", 0, "", 0}};
    for (auto const& [plain, written_with, use_key, read_with, result] : cases) {
        EXPECT_TRUE(WriteTable(FilePath(), plain, written_with));
        const std::string before = ContentOf(FilePath());
        EXPECT_EQ(result, writer.SetMailFromFile(3, use_key, read_with)) << plain;
        if (result == 1) {
            EXPECT_EQ(OneMail::slot_count, writer.GetRecordNumber());
            EXPECT_EQ(plain.empty() ? "" : "s", writer.GetMailElement(MailWriter::element_subject, pc));
            EXPECT_EQ("", writer.GetMailElement(MailWriter::element_body, nd));
            continue;
        }
        EXPECT_EQ(mail_body_file_format, LastError());
        EXPECT_EQ(0, writer.GetRecordNumber());
        EXPECT_EQ(0, writer.WriteMailAllTypeToFile());  // nothing goes over the damaged file
        EXPECT_EQ(before, ContentOf(FilePath()));
    }
}

TEST_F(MailWriterTest, NeedsIdThenEnvironmentThenSlots) {
    MailWriter bare;
    auto const fails_with = [&](int id, int code) {
        EXPECT_EQ(0, bare.SetMailFromFile(id, 0, nullptr));
        EXPECT_EQ(code, bare.GetErrMsg().GetLastCode());
    };
    fails_with(-2, mail_body_bad_mail_id_given);
    fails_with(-1, mail_body_environment_not_set);
    EXPECT_EQ(1, bare.SetEnvManager(&place.env));
    EXPECT_EQ(0, bare.SetEnvManager(&place.env));
    fails_with(-1, mail_body_terminal_count_not_set);
    EXPECT_EQ(0, bare.SetTermNum(0));
    EXPECT_EQ(1, bare.SetTermNum(2));
    EXPECT_EQ(0, bare.SetTermNum(2));
    EXPECT_EQ(0, bare.WriteMailAllTypeToFile());
    EXPECT_EQ(mail_body_file_write_failed, bare.GetErrMsg().GetLastCode());
    MessageBoxes boxes;
    EXPECT_THROW(MailWriter(nullptr, 0), CUserException);
    EXPECT_THROW(MailWriter(nullptr, 7), CUserException);
    ASSERT_EQ(2u, boxes.Texts().size());
    EXPECT_NE(boxes.Texts()[0], boxes.Texts()[1]);
}

// --- OneMailMaker

class OneMailMakerTest : public testing::Test {
  protected:
    OneMailMakerTest() {
        MakeDirectoryCompel(place.Path("MAIL\\ATEMP"));
        mails.SetEnvManager(&place.env);
    }
    OneMail Sample() const {
        OneMail mail;
        mail.m_strAddressName = "会員各位";
        mail.m_strHonorific = "様";
        mail.m_dtReserve.SetDateTime(2010, 2, 3, 4, 5, 6);
        for (int slot = 0; slot < OneMail::slot_count; ++slot) {
            mail.m_strSubject[slot].Format("件名%d", slot);
            mail.m_strBody[slot].Format("本文%d\r\n", slot);
        }
        return mail;
    }
    // A file in the work folder of a terminal ("" for format 4), told in the mail.
    void Attach(OneMail& mail, char const* folder, int slot, char const* name, std::string const& content) {
        const CString work = CString("MAIL\\ATEMP\\") + folder + "\\";
        MakeDirectoryCompel(place.Path(work));
        EXPECT_TRUE(place.Put(work + name, content));
        mail.m_aAttach[slot].Add({name, CString("情報") + name});
    }
    // A new mail of kind N with one attachment; its ID.
    int Stored(int format) {
        OneMailMaker maker(&place.env, &mails, OneMailMaker::new_mail);
        OneMail mail = Sample();
        Attach(mail, format == format_5 ? "pc" : "", 0, "a.bin", "A");
        EXPECT_EQ(OneMailMaker::ok, maker.SetOneMailData(mail, 'N', format));
        return maker.GetMailID();
    }
    CString Cell(int id, int column) {
        CString cell;
        EXPECT_EQ(0, mails.GetMailDataPinPoint(id, column, cell));
        return cell;
    }
    CString In(int id, char const* pattern) const {
        CString path;
        path.Format(pattern, id, id);
        return path;
    }
    static void ExpectFails(OneMailMaker& maker, int result, int code, int got) {
        EXPECT_EQ(result, got);
        EXPECT_EQ(code, maker.GetErrMsg().GetLastCode()) << result;
    }

    TimeZone zone{"UTC"};
    platform::FrozenClock clock{{now_seconds, 0}};
    MailEnvironment place;
    CMailListViewer mails;
};

TEST_F(OneMailMakerTest, MailsOfBothFormatsComeBackThroughOneObjectInAnyOrder) {
    OneMailMaker maker(&place.env, &mails, OneMailMaker::new_mail_too);
    OneMail five = Sample();
    Attach(five, "pc", pc, "表.bin", std::string("\0\xFF\r\n", 4));
    Attach(five, "sb", sb, "ソ.gif", "");
    Attach(five, "wl", wl, "w.txt", "W");
    EXPECT_EQ(OneMailMaker::ok, maker.SetOneMailData(five, 'N', format_5));
    int const id = maker.GetMailID();
    EXPECT_LE(0, id);
    for (auto const& [column, text] : {std::pair(CMailListViewer::column_title, "件名0"),
                                       {CMailListViewer::column_address_name, "会員各位"},
                                       {CMailListViewer::column_status, "D"},
                                       {CMailListViewer::column_entry_date, "2004/05/06 07:08:09"},
                                       {CMailListViewer::column_renewal_date, "2004/05/06 07:08:09"},
                                       {CMailListViewer::column_reserve_date, "2010/02/03 04:05:06"},
                                       {CMailListViewer::column_sent, "0"},
                                       {CMailListViewer::column_set_address_date, "2004/05/06 07:08:09"},
                                       {CMailListViewer::column_special_flag, "NN"},
                                       {CMailListViewer::column_honorific, "様"}})
        EXPECT_EQ(text, Cell(id, column)) << column;

    OneMail four = Sample();
    Attach(four, "", 0, "d.bin", "D");
    EXPECT_EQ(OneMailMaker::ok, maker.SetOneMailData(four, 'N', format_4));  // the same mail
    EXPECT_EQ(id, maker.GetMailID());
    EXPECT_TRUE(place.Has(In(id, "MAIL\\%d\\ATTACH\\d.bin.base64")));
    EXPECT_TRUE(place.Has(In(id, "MAIL\\%d\\ATTACH\\wl\\w.txt.base64")));
    ClearDirectoryCompel(place.Path("MAIL\\ATEMP"));

    for (int const format : {format_5, format_4, 0, format_5}) {
        OneMail out = five;
        EXPECT_EQ(OneMailMaker::ok, maker.GetOneMailData(out, 'N', format)) << format;
        EXPECT_EQ("会員各位", out.m_strAddressName);
        EXPECT_EQ("様", out.m_strHonorific);
        EXPECT_TRUE(five.m_dtReserve == out.m_dtReserve);
        for (int slot = 0; slot < OneMail::slot_count; ++slot) {
            OneMail const& in = format == format_5 ? five : four;
            EXPECT_EQ(in.m_strSubject[slot], out.m_strSubject[slot]);
            EXPECT_EQ(in.m_strBody[slot], out.m_strBody[slot]);
            ASSERT_EQ(in.m_aAttach[slot].GetSize(), out.m_aAttach[slot].GetSize()) << format << ' ' << slot;
            for (int n = 0; n < in.m_aAttach[slot].GetSize(); ++n) {
                EXPECT_EQ(in.m_aAttach[slot][n].m_strFileName, out.m_aAttach[slot][n].m_strFileName);
                EXPECT_EQ(in.m_aAttach[slot][n].m_strFileInfo, out.m_aAttach[slot][n].m_strFileInfo);
            }
        }
        if (format == format_5) {
            EXPECT_EQ(std::string("\0\xFF\r\n", 4), place.Content("MAIL\\ATEMP\\pc\\表.bin"));
            EXPECT_EQ("", place.Content("MAIL\\ATEMP\\sb\\ソ.gif"));
        } else {  // the whole work folder was emptied first
            EXPECT_EQ("D", place.Content("MAIL\\ATEMP\\d.bin"));
            EXPECT_FALSE(place.Has("MAIL\\ATEMP\\pc\\表.bin"));
        }
    }
}

TEST_F(OneMailMakerTest, TheKindChoosesTitleFlagAndTerminals) {
    struct {
        char kind;
        char const *title, *flag, *terminals;
    } const kinds[] = {
        {'N', "件名0", "NN", "pc nd at sb wl"}, {'Y', "件名0", "NY", "pc"}, {'M', "件名1", "NM", "nd at sb"}};
    char const* const names[] = {"pc", "nd", "at", "sb", "wl"};
    for (auto const& [kind, title, flag, terminals] : kinds) {
        OneMailMaker maker(&place.env, &mails, OneMailMaker::new_mail);
        OneMail mail = Sample();
        for (int slot = 0; slot < 5; ++slot) Attach(mail, names[slot], slot, "x", names[slot]);
        EXPECT_EQ(OneMailMaker::ok, maker.SetOneMailData(mail, kind, format_5));
        EXPECT_EQ(title, Cell(maker.GetMailID(), CMailListViewer::column_title));
        EXPECT_EQ(flag, Cell(maker.GetMailID(), CMailListViewer::column_special_flag));
        OneMail out;
        EXPECT_EQ(OneMailMaker::ok, maker.GetOneMailData(out, kind, format_5));
        for (int slot = 0; slot < 5; ++slot) {
            bool const wanted = std::string(terminals).find(names[slot]) != std::string::npos;
            const CString list = In(maker.GetMailID(), "MAIL\\%d\\ATTACH\\at_") + names[slot];
            EXPECT_EQ(wanted, place.Has(list + storage::Decimal(maker.GetMailID()) + ".dat")) << kind << slot;
            EXPECT_EQ(wanted ? 1 : 0, out.m_aAttach[slot].GetSize()) << kind << slot;
        }
    }
    // An edited mail: a flag of one character gets the kind, any other stays.
    int const id = Stored(format_5);
    for (auto const& [before, after] : {std::pair("Y", "YM"), {"", ""}, {"NN", "NN"}}) {
        mails.SetMailDataPinPoint(id, CMailListViewer::column_special_flag, before);
        mails.SetMailDataPinPoint(id, CMailListViewer::column_status, "C");
        mails.SetMailDataPinPoint(id, CMailListViewer::column_sent, "7");
        clock.Set({now_seconds + 60, 0});
        OneMailMaker maker(&place.env, &mails, id);
        OneMail mail = Sample();
        EXPECT_EQ(OneMailMaker::ok, maker.SetOneMailData(mail, 'M', format_5));
        EXPECT_EQ(after, Cell(id, CMailListViewer::column_special_flag));
        EXPECT_EQ("D", Cell(id, CMailListViewer::column_status));
        EXPECT_EQ("7", Cell(id, CMailListViewer::column_sent));
        EXPECT_EQ("2004/05/06 07:08:09", Cell(id, CMailListViewer::column_entry_date));
        EXPECT_EQ("2004/05/06 07:09:09", Cell(id, CMailListViewer::column_renewal_date));
    }
    EXPECT_TRUE(place.Has(In(id, "MAIL\\%d\\ATTACH\\pc\\a.bin.base64")));  // kind M left it alone
    OneMailMaker maker(&place.env, &mails, id);
    OneMail mail = Sample();
    EXPECT_EQ(OneMailMaker::ok, maker.SetOneMailData(mail, 'Y', format_5));
    EXPECT_FALSE(place.Has(In(id, "MAIL\\%d\\ATTACH\\pc\\a.bin.base64")));  // no attachment of pc any more
}

TEST_F(OneMailMakerTest, ANewMailIsEmptyAndReservedForTheNextTenMinutes) {
    OneMailMaker maker(&place.env, &mails, OneMailMaker::new_mail);
    struct {
        std::int64_t later;
        char const* reserve;
    } const cases[] = {{0, "2004/05/06 07:10:00"},
                       {60 + 51, "2004/05/06 07:10:00"},
                       {60 + 51 + 59, "2004/05/06 07:10:00"},
                       {60 + 51 + 60, "2004/05/06 07:20:00"},
                       {17 * 3600 - 9 * 60, "2004/05/07 00:00:00"}};
    for (auto const& [later, reserve] : cases) {
        clock.Set({now_seconds + later, 0});
        OneMail out = Sample();
        Attach(out, "", 0, "a", "x");
        EXPECT_EQ(OneMailMaker::ok, maker.GetOneMailData(out, 'N', format_4));
        EXPECT_EQ(reserve, out.m_dtReserve.Format("%Y/%m/%d %H:%M:%S")) << later;
        EXPECT_TRUE(out.m_strAddressName.IsEmpty() && out.m_strSubject[0].IsEmpty() &&
                    out.m_strBody[6].IsEmpty());
        EXPECT_EQ(0, out.m_aAttach[0].GetSize());
    }
    EXPECT_EQ(0, maker.SetMailID(OneMailMaker::new_mail_too));
    OneMail out;
    ExpectFails(maker, -99, mail_make_unexpected, maker.GetOneMailData(out, 'N', format_4));
    EXPECT_EQ(0, mails.CountMail());
}

TEST_F(OneMailMakerTest, TextsAloneAreStoredAsKindN) {
    OneMailMaker maker(&place.env, &mails, OneMailMaker::new_mail);
    CArray<CString, CString> texts, short_of_one;
    for (int slot = 0; slot < OneMail::slot_count; ++slot) texts.Add("文");
    for (int slot = 1; slot < OneMail::slot_count; ++slot) short_of_one.Add("文");
    const COleDateTime reserve = Sample().m_dtReserve;
    ExpectFails(maker, -99, mail_make_unexpected,
                maker.SetOneMailData("宛", reserve, texts, short_of_one, 'M', format_5));
    ExpectFails(maker, -99, mail_make_unexpected,
                maker.SetOneMailData("宛", reserve, short_of_one, texts, 'M', format_5));
    EXPECT_EQ(0, maker.SetOneMailData("宛", reserve, texts, texts, 'M', format_5));
    EXPECT_EQ("NN", Cell(maker.GetMailID(), CMailListViewer::column_special_flag));
    EXPECT_EQ("宛", Cell(maker.GetMailID(), CMailListViewer::column_address_name));
    EXPECT_TRUE(place.Has(In(maker.GetMailID(), "MAIL\\%d\\attc%d.dat")));
}

TEST_F(OneMailMakerTest, BindsOnceAndSharesTheListOfItsEnvironment) {
    OneMail mail;
    OneMailMaker bare;
    ExpectFails(bare, -11, mail_make_environment_not_set, bare.GetOneMailData(mail, 'N', format_4));
    ExpectFails(bare, -5, mail_make_bad_mail_id, bare.SetMailID(0));
    EXPECT_EQ(0, bare.SetEnvManager(nullptr));
    EXPECT_EQ(1, bare.SetEnvManager(&place.env));
    EXPECT_EQ(0, bare.SetEnvManager(&place.env));
    EXPECT_EQ(place.Path("MAIL\\ATEMP\\"), bare.GetAttachTempDirPath());
    ExpectFails(bare, -12, mail_make_mail_list_not_set, bare.SetOneMailData(mail, 'N', format_4));
    EXPECT_EQ(0, bare.SetMailListViewer(nullptr));
    EXPECT_EQ(1, bare.SetMailListViewer(&mails));  // holds the environment already
    EXPECT_EQ(0, bare.SetMailListViewer(&mails));
    EXPECT_EQ(OneMailMaker::no_mail, bare.GetOneMailData(mail, 'N', format_4));
    EXPECT_EQ(OneMailMaker::no_mail, bare.SetOneMailData(mail, 'N', format_4));

    OneMailMaker list_first;
    CMailListViewer fresh;
    EXPECT_EQ(1, list_first.SetMailListViewer(&fresh));
    EXPECT_EQ(1, list_first.SetEnvManager(&place.env));
    EXPECT_EQ(&place.env, fresh.GetEnvManager());
    ExpectFails(list_first, -5, mail_make_bad_mail_id, list_first.SetMailID(999));

    MailEnvironment elsewhere;
    OneMailMaker mixed;
    EXPECT_EQ(1, mixed.SetMailListViewer(&mails));
    EXPECT_EQ(0, mixed.SetEnvManager(&elsewhere.env));

    MessageBoxes boxes;
    EXPECT_THROW(OneMailMaker(nullptr, &mails, -1), CUserException);
    EXPECT_THROW(OneMailMaker(&place.env, nullptr, -1), CUserException);
    EXPECT_THROW(OneMailMaker(&place.env, &mails, 999), CUserException);
    ASSERT_EQ(3u, boxes.Texts().size());
    EXPECT_EQ(list_first.GetErrMsg().GetLastMsg(), boxes.Texts()[2]);
}

// Each failure of a store, how far it had come, and that the same object stores once the fault is mended.
TEST_F(OneMailMakerTest, EveryFaultOfAStoreHasItsCode) {
    struct {
        int result, code;
        char const* in_the_way;  // a folder there
        bool row, texts;         // what is stored before the fault
    } const faults[] = {
        {-99, mail_make_new_id_failed, "MAIL\\mailseq.dat", false, false},
        {-9, mail_make_list_write_failed, "MAIL\\maillist.dat", true, false},
        {-10, mail_make_body_write_failed, "MAIL\\%d\\mail%d.dat", true, false},
        {-16, mail_make_attachment_list_write_failed, "MAIL\\%d\\attc%d.dat", true, true},
        {-18, mail_make_attachment_write_failed, "MAIL\\%d\\ATTACH\\a.bin.base64", true, true}};
    int next = Stored(format_4) + 1;
    for (auto const& [result, code, in_the_way, row, texts] : faults) {
        SCOPED_TRACE(in_the_way);
        const CString path = In(next, in_the_way);
        const std::string before = place.Content(path);
        MakeDirectoryCompel(place.Path(In(next, "MAIL\\%d")) + "\\ATTACH");
        EXPECT_TRUE(place.Block(path));
        OneMailMaker maker(&place.env, &mails, OneMailMaker::new_mail);
        OneMail mail = Sample();
        Attach(mail, "", 0, "a.bin", "A");
        ExpectFails(maker, result, code, maker.SetOneMailData(mail, 'N', format_4));
        EXPECT_EQ(row ? next : OneMailMaker::new_mail, maker.GetMailID());
        EXPECT_EQ(row ? CMailListViewer::mail_found : CMailListViewer::mail_not_found,
                  mails.FindMailData(next));
        EXPECT_EQ(texts, place.Has(In(next, "MAIL\\%d\\mail%d.dat")));
        EXPECT_TRUE(platform::RemoveDirectory(place.Path(path)));
        EXPECT_TRUE(before == "(no file)" || place.Put(path, before));
        EXPECT_EQ(OneMailMaker::ok, maker.SetOneMailData(mail, 'N', format_4));
        next = maker.GetMailID() + 1;
    }
    OneMailMaker maker(&place.env, &mails, OneMailMaker::new_mail);
    OneMail mail = Sample();
    mail.m_aAttach[0].Add({"なし.bin", ""});  // never copied into the work folder
    ExpectFails(maker, -18, mail_make_attachment_write_failed, maker.SetOneMailData(mail, 'N', format_4));
    mail = Sample();
    mails.RemoveMailData(maker.GetMailID());
    ExpectFails(maker, -99, mail_make_bad_mail_id, maker.SetOneMailData(mail, 'N', format_4));

    EXPECT_TRUE(place.Put(In(next + 1, "MAIL\\%d"), "a file in the way of the folder"));
    OneMailMaker another(&place.env, &mails, OneMailMaker::new_mail);
    ExpectFails(another, -8, mail_make_directory_failed, another.SetOneMailData(mail, 'N', format_4));
    EXPECT_EQ(next + 1, another.GetMailID());
    EXPECT_EQ(CMailListViewer::mail_not_found, mails.FindMailData(next + 1));
}

// The list could not be read, so that the environment went no further than to it: no slots for texts.
TEST_F(OneMailMakerTest, TextsThatAreNotTakenHaveACodeWithoutNumber) {
    EXPECT_TRUE(platform::RemoveFile(place.Path("MAIL\\maillist.dat")));
    CMailListViewer unread;
    OneMailMaker maker;
    EXPECT_EQ(1, maker.SetMailListViewer(&unread));
    EXPECT_EQ(0, maker.SetEnvManager(&place.env));
    EXPECT_EQ(0, maker.SetMailID(OneMailMaker::new_mail));
    OneMail mail = Sample();
    ExpectFails(maker, -10, 0, maker.SetOneMailData(mail, 'N', format_4));
}

TEST_F(OneMailMakerTest, EveryFaultOfAReadHasItsCode) {
    const CString key = place.env.GetDBKey();
    OneMail out;
    for (int const format : {format_4, format_5}) {
        SCOPED_TRACE(format);
        int const id = Stored(format);
        OneMailMaker maker(&place.env, &mails, id);
        OneMail mail = Sample();
        char const* const folder = format == format_5 ? "pc" : "";
        for (char const* name : {"a.bin", "b.bin", "c.bin"}) Attach(mail, folder, 0, name, name);
        EXPECT_EQ(OneMailMaker::ok, maker.SetOneMailData(mail, 'N', format));
        const CString body = In(
            id, format == format_5 ? "MAIL\\%d\\ATTACH\\pc\\b.bin.base64" : "MAIL\\%d\\ATTACH\\b.bin.base64");
        EXPECT_TRUE(platform::RemoveFile(place.Path(body)));
        ExpectFails(maker, -17, mail_make_attachment_read_failed, maker.GetOneMailData(out, 'N', format));
        ASSERT_EQ(2, out.m_aAttach[0].GetSize());  // those around it are there
        EXPECT_EQ("c.bin", out.m_aAttach[0][1].m_strFileName);
        EXPECT_TRUE(place.Has(CString("MAIL\\ATEMP\\") + folder + "\\a.bin"));
        const CString list =
            In(id, format == format_5 ? "MAIL\\%d\\ATTACH\\at_pc%d.dat" : "MAIL\\%d\\attc%d.dat");
        EXPECT_TRUE(WriteTable(place.Path(list), "\"a.bin\",\"\"\r\n\"b\"\r\n", key));
        ExpectFails(maker, -99, mail_make_attachment_list_read_failed,
                    maker.GetOneMailData(out, 'N', format));
        EXPECT_EQ("件名6", out.m_strSubject[6]);
    }
    int const id = Stored(format_4);
    OneMailMaker maker(&place.env, &mails, id);
    mails.SetMailDataPinPoint(id, CMailListViewer::column_reserve_date, "2004/13/45 99:99:99");
    EXPECT_EQ(OneMailMaker::ok, maker.GetOneMailData(out, 'N', format_4));
    EXPECT_EQ(COleDateTime::invalid, out.m_dtReserve.GetStatus());
    mails.SetMailDataPinPoint(id, CMailListViewer::column_reserve_date, "2004/05/06 07:08");
    ExpectFails(maker, -99, mail_make_unexpected, maker.GetOneMailData(out, 'N', format_4));
    mails.SetMailDataPinPoint(id, CMailListViewer::column_reserve_date, "2004/05/06 07:08:09");
    EXPECT_TRUE(place.Put(In(id, "MAIL\\%d\\mail%d.dat"), "\x01\x02 no table"));
    ExpectFails(maker, -99, mail_make_unexpected, maker.GetOneMailData(out, 'N', format_4));
    EXPECT_TRUE(platform::RemoveFile(place.Path(In(id, "MAIL\\%d\\mail%d.dat"))));
    EXPECT_EQ(OneMailMaker::ok, maker.GetOneMailData(out, 'N', format_4));  // no file, no texts
    EXPECT_TRUE(out.m_strSubject[0].IsEmpty());
    mails.RemoveMailData(id);
    ExpectFails(maker, -99, mail_make_unexpected, maker.GetOneMailData(out, 'N', format_4));
}

}  // namespace
