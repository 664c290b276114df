#include <gtest/gtest.h>

#include "tests/customers/customer_fixture.h"

namespace {

class RegistrationTest : public CustomerTest {
  protected:
    // The elements of the customer that differ from their defaults, or the failure.
    std::string Read(std::string const& text, int strict = 0) {
        OneCustomer customer;
        customer.KanjiSei = "old";
        int const result = db.ConvertEMailToOneCunstomer(text.c_str(), customer, strict);
        std::string read = result == 0 ? "" : std::to_string(result) + " ";
        for (int element = 1; element < customers::element_delete_flag; ++element)
            if (auto const member = customers::DefinitionOf(element).member)
                if (CString const& value = customer.*member; !value.IsEmpty() && value != "Y")
                    read += std::to_string(element) + "=" + std::string(value.View()) + " ";
        return read;
    }
    static std::string Mail(std::string const& rest) { return "<REGISTER>\r\n<EMAIL>a@b.jp</EMAIL>" + rest; }
};

TEST_F(RegistrationTest, FieldsByTheirRules) {
    const struct {
        char const *field, *loose, *strict;  // the result without and with strictness, null for a refusal
    } rows[] = {
        {"", "", ""},
        {"<NAME_SEI>表\r\nソ</NAME_SEI>", "2=表ソ ", "2=表ソ "},
        {"<NAME_SEI>x</NAME_SEI><NAME_SEI>y</NAME_SEI>", "2=x ", "2=x "},
        {"<name_sei>x</name_sei>", "", ""},
        {"</NAME_SEI><NAME_SEI>", "", nullptr},
        {"<PREFECTURE>東京都</PREFCTURE>", "11=東京都 ", "11=東京都 "},
        {"<BIRTHDAY>1980/1/2 3:4</BIRTHDAY>", "8=1980/01/02 ", "8=1980/01/02 "},
        {"<BIRTHDAY>1980/1</BIRTHDAY>", "", nullptr},
        {"<ZIPCODE_1>123</ZIPCODE_1><ZIPCODE_2>4-567</ZIPCODE_2>", "9=1234567 ", "9=1234567 "},
        {"<ZIPCODE_3>765-4321</ZIPCODE_3><ZIPCODE_1>123</ZIPCODE_1><ZIPCODE_2>9</ZIPCODE_2>", "9=7654321 ",
         "9=7654321 "},
        {"<ZIPCODE_1>12-3</ZIPCODE_1>", "", nullptr},
        {"<ZIPCODE_1>123</ZIPCODE_1><ZIPCODE_3></ZIPCODE_3>", "", ""},
        {"<ADDRESS_2>一</ADDRESS_2><BUILDING>二</BUILDING>", "13=一二 ", "13=一二 "},
        {"<ADDRESS_2>一</ADDRESS_2><BUILDING>二</BUILDING><ADDRESS_3>三</ADDRESS_3>", "13=三 ", "13=三 "},
        {"<PHONE_1>03</PHONE_1><PHONE_2>1-2</PHONE_2>", "15=03-1-2 ", "15=03-1-2 "},
        {"<FAX_2>1-2</FAX_2>", "17=1-2 ", "17=1-2 "},
        {"<PORTABLE_1>x</PORTABLE_1><PORTABLE_2>5</PORTABLE_2>", "19=5 ", nullptr},
        {"<PHONE_3>x</PHONE_3><PHONE_1>1</PHONE_1>", "15=1 ", nullptr},
        {"<PHONE_3>1", "", nullptr},
        {"<DMOK>N</DMOK>", "21=N ", "21=N "},
        {"<DMOK>NN</DMOK>", "", nullptr},
        {"<EXTRA_A>any</EXTRA_A><EXTRA_B>007</EXTRA_B><EXTRA_C>2004/2/3 4</EXTRA_C>",
         "28=any 29=7 30=2004/02/03 04 ", "28=any 29=7 30=2004/02/03 04 "},
        {"<EXTRA_B>x</EXTRA_B>", "", nullptr},
        {"<EXTRA_C>2004/2</EXTRA_C>", "", nullptr},
        {"<EXTRA_T>t</EXTRA_T>", "47=t ", "47=t "},
    };
    for (auto const& row : rows) {
        EXPECT_EQ(std::string("1=a@b.jp ") + row.loose, Read(Mail(row.field), 0)) << row.field;
        EXPECT_EQ(row.strict ? std::string("1=a@b.jp ") + row.strict : "-43 ", Read(Mail(row.field), 1))
            << row.field;
        EXPECT_EQ(Read(Mail(row.field), 0), Read(Mail(row.field), 2)) << row.field;
    }
    EXPECT_EQ("1=a@b.jp ", Read(Mail("<POST>" + std::string(65536, 'x') + "</POST>")));
}

TEST_F(RegistrationTest, AnAddressIsRequired) {
    for (char const* mail :
         {"", "<REGISTER>", "<EMAIL>", "<EMAIL></EMAIL>", "<EMAIL>x</EMAIL>", "</EMAIL>a@b.jp<EMAIL>"}) {
        EXPECT_EQ("-43 ", Read(mail)) << mail;
        EXPECT_EQ(10801, LastError());
    }
    OneCustomer customer;
    EXPECT_EQ(-43, db.ConvertEMailToOneCunstomer(nullptr, customer, 0));
    EXPECT_EQ(0, db.ConvertEMailToOneCunstomer(Mail("").c_str(), customer, 1));
    EXPECT_EQ(-1, customer.CustomerID);
    EXPECT_EQ("YY", customer.DMOk + customer.OtherOk);
    CDatabaseEdit unbound;
    customer.CustomerID = 5;
    customer.KanjiSei = "old";
    EXPECT_EQ(-12, unbound.ConvertEMailToOneCunstomer("", customer, 0));
    EXPECT_EQ(10001, unbound.GetErrMsg().GetLastCode());
    EXPECT_EQ(-1, customer.CustomerID);
    EXPECT_EQ("YY", customer.KanjiSei + customer.DMOk + customer.OtherOk);
    unbound.SetEnvManager(&env);
    EXPECT_EQ(-14, unbound.ConvertEMailToOneCunstomer("", customer, 0));
    EXPECT_EQ(10003, unbound.GetErrMsg().GetLastCode());
    SystemOption unread(&env);
    unbound.SetSystemOption(&unread);
    EXPECT_EQ(-17, unbound.ConvertEMailToOneCunstomer("", customer, 0));
    EXPECT_EQ(10403, unbound.GetErrMsg().GetLastCode());
}

}  // namespace
