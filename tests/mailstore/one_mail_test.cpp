#include <gtest/gtest.h>

#include "platform/clock.h"
#include "tessaly/mailstore/mail_list_viewer.h"
#include "tessaly/mailstore/one_mail_maker.h"
#include "tessaly/platform/dialog.h"
#include "tessaly/storage/error_codes.h"
#include "tessaly/text/directories.h"
#include "tests/mailstore/mail_environment.h"
#include "tests/platform/time_zone.h"
#include "tests/support/message_boxes.h"

using enum storage::ErrorCode;

namespace {

constexpr int format_4 = 4, format_5 = 5;
constexpr std::int64_t now_seconds = 1083827289;  // 2004/05/06 07:08:09

template <class Reporter>
void ExpectFails(Reporter& reporter, int result, int code, int got) {
    EXPECT_EQ(result, got) << code;
    EXPECT_EQ(code, reporter.GetErrMsg().GetLastCode());
    reporter.GetErrMsg().Clear();
}

TEST(MailWriterTest, TextsComeBackFromTheSlotsTheyWereGivenTo) {
    char const* const body = "<%NAME_SEI%>様\r\n\"表\",\r\nソ\\\t, 能";
    auto const slot_6 = static_cast<TermType>(6), slot_7 = static_cast<TermType>(7);
    std::string const subject_128(128, 's'), body_10240(10240, 'b');
    MailEnvironment place;
    CString const file = place.Path("MAIL\\3\\mail3.dat");
    platform::MakeDirectory(place.Path("MAIL\\3"));
    MailWriter writer;
    ExpectFails(writer, 0, mail_body_bad_mail_id_given, writer.SetMailFromFile(-2, 0, nullptr));
    ExpectFails(writer, 0, mail_body_environment_not_set, writer.SetMailFromFile(-1, 0, nullptr));
    EXPECT_EQ(1, writer.SetEnvManager(&place.env) + writer.SetEnvManager(&place.env));
    ExpectFails(writer, 0, mail_body_terminal_count_not_set, writer.SetMailFromFile(-1, 0, nullptr));
    EXPECT_EQ(1, writer.SetTermNum(0) + writer.SetTermNum(7) + writer.SetTermNum(7));
    EXPECT_EQ(1, writer.SetMailFromFile(-1, 0, nullptr));
    ExpectFails(writer, 0, mail_body_bad_mail_id_set, writer.WriteMailAllTypeToFile());
    ExpectFails(writer, 0, mail_body_bad_mail_id_given, writer.SetNewMailID(-1));
    EXPECT_EQ(1, writer.SetNewMailID(3));
    ExpectFails(writer, 0, mail_body_bad_mail_id_set, writer.SetNewMailID(3));  // no new mail after that
    ExpectFails(writer, 0, 0, writer.SetMailRecordToMemory(subject_128.c_str(), body_10240.c_str(), pc));
    ExpectFails(writer, 0, mail_body_bad_data,
                writer.SetMailRecordToMemory(nullptr, (body_10240 + "b").c_str(), wl));
    ExpectFails(writer, 0, mail_body_bad_data,
                writer.SetMailRecordToMemory((subject_128 + "s").c_str(), body, slot_6));
    ExpectFails(writer, -2, 0, writer.SetMailRecordToMemory("", "", slot_7));
    EXPECT_EQ(1, writer.WriteMailAllTypeToFile());

    MailWriter reader(&place.env, 5);  // the file has more slots than the reader
    EXPECT_EQ(1, reader.SetMailFromFile(3, 0, nullptr));
    EXPECT_EQ(body, reader.GetMailElement(MailWriter::element_body, slot_6));
    EXPECT_EQ(129, reader.GetMailElementLength(MailWriter::element_subject, slot_6));
    EXPECT_EQ(10241, reader.GetMailElementLength(MailWriter::element_body, wl));
    ExpectFails(reader, 0, mail_body_bad_element_number, reader.GetMailElementLength(2, slot_7));
    ExpectFails(reader, 0, mail_body_bad_terminal_type, reader.GetMailElement(1, slot_7).GetLength());
    EXPECT_EQ(1, reader.WriteFromMemoryToFileAppointFileName(file, "別の鍵"));
    EXPECT_EQ(1, writer.SetMailFromFile(3, 1, "別の鍵"));
    EXPECT_EQ(body, writer.GetMailElement(MailWriter::element_body, slot_6));

    for (char const* damaged : {"\"s\",\"b\"\r\n\"s\"\r\n", "\"s\",\"b\",\"x\"\r\n", "\r\n"}) {
        EXPECT_TRUE(WriteTable(file, damaged));
        ExpectFails(reader, 0, mail_body_file_format, reader.SetMailFromFile(3, 1, nullptr));
        ExpectFails(reader, 0, mail_body_file_write_failed, reader.WriteMailAllTypeToFile());
    }
    EXPECT_TRUE(WriteTable(file, "\"s\",\"b\"\r\n"));
    EXPECT_EQ(1, reader.SetMailFromFile(3, 1, nullptr));
    EXPECT_EQ(5, reader.GetRecordNumber());
}

class OneMailMakerTest : public testing::Test {
  protected:
    OneMailMakerTest() { mails.SetEnvManager(&place.env); }
    static OneMail Sample() {
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
    // All fields of a mail as one text.
    static CString Told(OneMail const& mail) {
        CString told =
            mail.m_strAddressName + mail.m_strHonorific + mail.m_dtReserve.Format("%Y/%m/%d %H:%M:%S");
        for (int slot = 0; slot < OneMail::slot_count; ++slot) {
            told += "|" + mail.m_strSubject[slot] + mail.m_strBody[slot];
            for (AttachData const& a : mail.m_aAttach[slot]) told += a.m_strFileName + ":" + a.m_strFileInfo;
        }
        return told;
    }
    // A file in the work folder of a terminal ("" for format 4), listed in the mail.
    void Attach(OneMail& mail, char const* folder, int slot, CString const& name,
                std::string const& content) const {
        CString const work = CString("MAIL\\ATEMP\\") + folder + "\\";
        MakeDirectoryCompel(place.Path(work));
        EXPECT_TRUE(place.Put(work + name, content));
        mail.m_aAttach[slot].Add({name, "情報" + name});
    }
    // A new mail of kind N with attachments a, b and c of the first slot; its ID.
    int Stored(int format) {
        OneMailMaker maker(&place.env, &mails, OneMailMaker::new_mail);
        OneMail mail = Sample();
        for (char const* name : {"a", "b", "c"}) Attach(mail, format == format_5 ? "pc" : "", 0, name, name);
        EXPECT_EQ(OneMailMaker::ok, maker.SetOneMailData(mail, 'N', format));
        return maker.GetMailID();
    }
    // The row of a mail behind its ID.
    CString Row(int id) {
        CString row, cell;
        for (int column = 1; mails.GetMailDataPinPoint(id, column, cell) == 0; ++column) row += cell + "|";
        return row;
    }
    CString In(int id, char const* pattern) const {
        CString path;
        path.Format(pattern, id, id);
        return path;
    }

    TimeZone zone{"UTC"};
    platform::FrozenClock clock{{now_seconds, 0}};
    MailEnvironment place;
    CMailListViewer mails;
};

TEST_F(OneMailMakerTest, MailsOfBothFormatsComeBackThroughOneObjectInAnyOrder) {
    OneMailMaker maker(&place.env, &mails, OneMailMaker::new_mail_too);
    OneMail five = Sample(), four = Sample();
    std::string const bytes("\0\xFF\r\n", 4);
    Attach(five, "pc", pc, "表.bin", bytes);
    Attach(five, "wl", wl, "ソ.gif", "");
    EXPECT_EQ(OneMailMaker::ok, maker.SetOneMailData(five, 'N', format_5));
    Attach(four, "", 0, "d.bin", "D");
    EXPECT_EQ(OneMailMaker::ok, maker.SetOneMailData(four, 'N', format_4));  // the same mail
    EXPECT_EQ(1, mails.CountMail());
    for (int const format : {format_5, format_4, 0, format_5}) {
        OneMail out = five;
        EXPECT_EQ(OneMailMaker::ok, maker.GetOneMailData(out, 'N', format)) << format;
        EXPECT_EQ(Told(format == format_5 ? five : four), Told(out)) << format;
        // Format 4 empties the whole work folder first.
        EXPECT_EQ(format == format_5 ? bytes : "(no file)", place.Content("MAIL\\ATEMP\\pc\\表.bin"));
        EXPECT_TRUE(format == format_5 || place.Content("MAIL\\ATEMP\\d.bin") == "D");
    }
}

TEST_F(OneMailMakerTest, TheKindChoosesTitleFlagAndTerminals) {
    char const *const now = "2004/05/06 07:08:09|", *const later = "2004/05/06 07:09:09|2010/02/03 04:05:06|";
    struct {
        char kind;
        char const *title, *with_attachments;
    } const kinds[] = {{'N', "件名0|", "pc nd at sb wl"}, {'Y', "件名0|", "pc"}, {'M', "件名1|", "nd at sb"}};
    for (auto const& [kind, title, with_attachments] : kinds) {
        OneMailMaker maker(&place.env, &mails, OneMailMaker::new_mail);
        OneMail mail = Sample(), out;
        for (int slot = 0; char const* terminal : {"pc", "nd", "at", "sb", "wl"})
            Attach(mail, terminal, slot++, "x", "");
        EXPECT_EQ(OneMailMaker::ok, maker.SetOneMailData(mail, kind, format_5));
        EXPECT_EQ(CString(title) + "会員各位|D|" + now + now + "2010/02/03 04:05:06|0|0|0|" + now + "N" +
                      CString(kind) + "|様|",
                  Row(maker.GetMailID()));
        EXPECT_EQ(OneMailMaker::ok, maker.GetOneMailData(out, kind, format_5));
        for (int slot = 0; char const* terminal : {"pc", "nd", "at", "sb", "wl"}) {
            bool const wanted = std::string(with_attachments).find(terminal) != std::string::npos;
            EXPECT_EQ(wanted ? 1 : 0, out.m_aAttach[slot++].GetSize()) << kind << terminal;
            EXPECT_EQ(wanted,
                      place.Has(In(maker.GetMailID(), "MAIL\\%d\\ATTACH\\") + terminal + "\\x.base64"));
        }
    }
    int const id = Stored(format_5);
    clock.Set({now_seconds + 60, 0});
    OneMailMaker maker(&place.env, &mails, id);
    OneMail edited = Sample();
    // A flag of one character gets the kind, any other stays.
    for (auto const& [before, after] : {std::pair("Y", "YM|"), {"", "|"}, {"NN", "NN|"}}) {
        mails.SetMailDataPinPoint(id, CMailListViewer::column_special_flag, before);
        mails.SetMailDataPinPoint(id, CMailListViewer::column_status, "C");
        mails.SetMailDataPinPoint(id, CMailListViewer::column_sent, "7");
        EXPECT_EQ(OneMailMaker::ok, maker.SetOneMailData(edited, 'M', format_5));
        EXPECT_EQ(CString("件名1|会員各位|D|") + now + later + "7|0|0|" + now + after + "様|", Row(id));
    }
    EXPECT_TRUE(place.Has(In(id, "MAIL\\%d\\ATTACH\\pc\\a.base64")));  // kind M left it alone
    EXPECT_EQ(OneMailMaker::ok, maker.SetOneMailData(edited, 'Y', format_5));
    EXPECT_FALSE(place.Has(In(id, "MAIL\\%d\\ATTACH\\pc\\a.base64")));  // no attachment of pc any more
}

TEST_F(OneMailMakerTest, ANewMailIsEmptyAndReservedForTheNextTenMinutes) {
    OneMailMaker maker(&place.env, &mails, OneMailMaker::new_mail);
    for (auto const& [later, reserve] : {std::pair(0, "2004/05/06 07:10:00"),
                                         {60 + 51, "2004/05/06 07:10:00"},
                                         {60 + 51 + 60, "2004/05/06 07:20:00"},
                                         {17 * 3600 - 9 * 60, "2004/05/07 00:00:00"}}) {
        clock.Set({now_seconds + later, 0});
        OneMail out = Sample();
        Attach(out, "", 0, "a", "x");
        EXPECT_EQ(OneMailMaker::ok, maker.GetOneMailData(out, 'N', format_4));
        EXPECT_EQ(CString(reserve) + "|||||||", Told(out));
    }
    CArray<CString, CString> texts, one_less;
    texts.SetSize(OneMail::slot_count);
    one_less.SetSize(OneMail::slot_count - 1);
    COleDateTime const reserve = Sample().m_dtReserve;
    ExpectFails(maker, -99, mail_make_unexpected, maker.SetOneMailData("", reserve, texts, one_less, 'M', 5));
    ExpectFails(maker, -99, mail_make_unexpected, maker.SetOneMailData("", reserve, one_less, texts, 'M', 5));
    EXPECT_EQ(OneMailMaker::ok, maker.SetOneMailData("宛", reserve, texts, texts, 'M', 5));
    EXPECT_GT(Row(maker.GetMailID()).Find("|NN|"), 0);
}

TEST_F(OneMailMakerTest, BindsOnceAndSharesTheListOfItsEnvironment) {
    OneMail mail;
    OneMailMaker bare, list_first, mixed, unread;
    ExpectFails(bare, -11, mail_make_environment_not_set, bare.GetOneMailData(mail, 'N', format_4));
    EXPECT_EQ(1, bare.SetEnvManager(&place.env) + bare.SetEnvManager(&place.env));
    EXPECT_EQ(place.Path("MAIL\\ATEMP\\"), bare.GetAttachTempDirPath());
    ExpectFails(bare, -12, mail_make_mail_list_not_set, bare.SetOneMailData(mail, 'N', format_4));
    EXPECT_EQ(1, bare.SetMailListViewer(&mails) + bare.SetMailListViewer(&mails));  // bound already
    ExpectFails(bare, -7, 0, bare.GetOneMailData(mail, 'N', format_4));
    ExpectFails(bare, -7, 0, bare.SetOneMailData(mail, 'N', format_4));
    CMailListViewer fresh, missing;
    EXPECT_EQ(1, list_first.SetMailListViewer(&fresh));
    EXPECT_EQ(1, list_first.SetEnvManager(&place.env));
    EXPECT_EQ(&place.env, fresh.GetEnvManager());
    MailEnvironment elsewhere;
    EXPECT_EQ(1, mixed.SetMailListViewer(&mails));
    EXPECT_EQ(0, mixed.SetEnvManager(&elsewhere.env));
    EXPECT_EQ(1, mixed.SetEnvManager(&place.env));  // the refused one left nothing
    OneMailMaker list_last;
    EXPECT_EQ(1, list_last.SetEnvManager(&elsewhere.env));
    EXPECT_EQ(0, list_last.SetMailListViewer(&mails));
    ExpectFails(list_last, -12, mail_make_mail_list_not_set, list_last.SetOneMailData(mail, 'N', format_4));
    MessageBoxes boxes;
    EXPECT_THROW(OneMailMaker(nullptr, &mails, -1), CUserException);
    EXPECT_THROW(OneMailMaker(&place.env, nullptr, -1), CUserException);
    ExpectFails(bare, -5, mail_make_bad_mail_id, bare.SetMailID(999));
    EXPECT_THROW(OneMailMaker(&place.env, &mails, 999), CUserException);
    // With a list that cannot be read the environment is not passed on, and no slot accepts a text.
    platform::RemoveFile(elsewhere.Path("MAIL\\maillist.dat"));
    EXPECT_EQ(1, unread.SetMailListViewer(&missing));
    EXPECT_EQ(0, unread.SetEnvManager(&elsewhere.env));
    EXPECT_EQ(0, unread.SetMailID(OneMailMaker::new_mail));
    ExpectFails(unread, -10, 0, unread.SetOneMailData(mail, 'N', format_4));
}

// Each failure of a store, the parts stored before it, and that the same object stores once the fault is
// mended.
TEST_F(OneMailMakerTest, EveryFaultOfAStoreHasItsCode) {
    struct {
        int result, code;
        char const* in_the_way;  // a folder in place of a file
        bool row, texts;         // parts stored before the fault
    } const faults[] = {{-99, mail_make_new_id_failed, "MAIL\\mailseq.dat", false, false},
                        {-9, mail_make_list_write_failed, "MAIL\\maillist.dat", true, false},
                        {-10, mail_make_body_write_failed, "MAIL\\%d\\mail%d.dat", true, false},
                        {-16, mail_make_attachment_list_write_failed, "MAIL\\%d\\attc%d.dat", true, true},
                        {-18, mail_make_attachment_write_failed, "MAIL\\%d\\ATTACH\\a.base64", true, true}};
    int next = Stored(format_4) + 1;
    for (auto const& [result, code, in_the_way, row, texts] : faults) {
        CString const path = In(next, in_the_way);
        std::string const before = place.Content(path);
        MakeDirectoryCompel(place.Path(In(next, "MAIL\\%d\\ATTACH")));
        EXPECT_TRUE(place.Block(path));
        OneMailMaker maker(&place.env, &mails, OneMailMaker::new_mail);
        OneMail mail = Sample();
        Attach(mail, "", 0, "a", "A");
        ExpectFails(maker, result, code, maker.SetOneMailData(mail, 'N', format_4));
        EXPECT_EQ(row ? next : OneMailMaker::new_mail, maker.GetMailID());
        EXPECT_EQ(row, mails.FindMailData(next) == CMailListViewer::mail_found) << in_the_way;
        EXPECT_EQ(texts, place.Has(In(next, "MAIL\\%d\\mail%d.dat"))) << in_the_way;
        EXPECT_TRUE(platform::RemoveDirectory(place.Path(path)));
        EXPECT_TRUE(before == "(no file)" || place.Put(path, before));
        EXPECT_EQ(OneMailMaker::ok, maker.SetOneMailData(mail, 'N', format_4)) << in_the_way;
        next = maker.GetMailID() + 1;
    }
    EXPECT_TRUE(place.Put(In(next, "MAIL\\%d"), "a file in the way of the folder"));
    OneMailMaker maker(&place.env, &mails, OneMailMaker::new_mail);
    OneMail mail = Sample();
    mail.m_aAttach[0].Add({"なし", ""});  // never copied into the work folder
    ExpectFails(maker, -8, mail_make_directory_failed, maker.SetOneMailData(mail, 'N', format_4));
    ExpectFails(maker, -99, mail_make_bad_mail_id, maker.SetOneMailData(mail, 'N', format_4));  // has no row
    EXPECT_EQ(0, maker.SetMailID(OneMailMaker::new_mail));
    ExpectFails(maker, -18, mail_make_attachment_write_failed, maker.SetOneMailData(mail, 'N', format_4));
}

TEST_F(OneMailMakerTest, EveryFaultOfAReadHasItsCode) {
    struct {
        int format;
        char const *b, *list;
    } const formats[] = {{format_4, "MAIL\\%d\\ATTACH\\b.base64", "MAIL\\%d\\attc%d.dat"},
                         {format_5, "MAIL\\%d\\ATTACH\\pc\\b.base64", "MAIL\\%d\\ATTACH\\at_pc%d.dat"}};
    CString const key = place.env.GetDBKey();
    OneMailMaker maker(&place.env, &mails, OneMailMaker::new_mail_too);
    OneMail out;
    ExpectFails(maker, -99, mail_make_unexpected, maker.GetOneMailData(out, 'N', format_4));
    for (auto const& [format, b, list] : formats) {
        int const id = Stored(format);
        EXPECT_EQ(0, maker.SetMailID(id));
        EXPECT_TRUE(platform::RemoveFile(place.Path(In(id, b))));
        ExpectFails(maker, -17, mail_make_attachment_read_failed, maker.GetOneMailData(out, 'N', format));
        ASSERT_EQ(2, out.m_aAttach[0].GetSize());  // those around it are there
        EXPECT_EQ("c", out.m_aAttach[0][1].m_strFileName);
        EXPECT_TRUE(WriteTable(place.Path(In(id, list)), "\"a\",\"\"\r\n\"b\"\r\n", key));
        ExpectFails(maker, -99, mail_make_attachment_list_read_failed,
                    maker.GetOneMailData(out, 'N', format));
    }
    int const id = Stored(format_4);
    EXPECT_EQ(0, maker.SetMailID(id));
    mails.SetMailDataPinPoint(id, CMailListViewer::column_reserve_date, "2004/05/06 07:08");
    ExpectFails(maker, -99, mail_make_unexpected, maker.GetOneMailData(out, 'N', format_4));
    mails.SetMailDataPinPoint(id, CMailListViewer::column_reserve_date, "2004/13/45 99:99:99");
    EXPECT_EQ(OneMailMaker::ok, maker.GetOneMailData(out, 'N', format_4));
    EXPECT_EQ(COleDateTime::invalid, out.m_dtReserve.GetStatus());
    EXPECT_TRUE(platform::RemoveFile(place.Path(In(id, "MAIL\\%d\\mail%d.dat"))));
    EXPECT_EQ(OneMailMaker::ok, maker.GetOneMailData(out, 'N', format_4));  // no file, no texts
    EXPECT_EQ("", out.m_strSubject[0]);
    EXPECT_TRUE(WriteTable(place.Path(In(id, "MAIL\\%d\\mail%d.dat")), "\"s\"\r\n", key));
    ExpectFails(maker, -99, mail_make_unexpected, maker.GetOneMailData(out, 'N', format_4));
}

}  // namespace
