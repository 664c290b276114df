#include "engine/receiving/trace.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

using engine::IdSigner;
using engine::MailNumbers;
using engine::Trace;
using engine::Traced;
using Use = IdSigner::Use;

IdSigner const signer(std::string(IdSigner::key_size, 'k')), elsewhere(std::string(IdSigner::key_size, 'o'));

std::string LocalOf(int customer, int mail, std::string const& random) {
    return "20261123235038123.00042." + std::to_string(customer) + ".m" + std::to_string(mail) + ".tessaly-" +
           random;
}
std::string IdOf(int customer, int mail = 3) {
    return signer.MessageId(LocalOf(customer, mail, "1a2b3c4d"), "shop.example.jp");
}
std::string const unsigned_id = LocalOf(8, 3, "0badcafe") + "@shop.example.jp";
std::string const old_id = "OLD.20200101.7@Shop.example.jp";

// Mail 3 went to customers 5 to 9: to 8 without a signature, to 9 by an earlier version; its last attempt to
// 7 had another ID than the first. Mail 4 went to nobody.
class Sent : public engine::SentMails {
  public:
    bool Has(MailNumbers const& numbers) override {
        return (numbers.mail == 3 || numbers.mail == 4) && numbers.customer >= 0 && numbers.customer < 10;
    }
    std::vector<std::string> IdsOf(MailNumbers const& numbers) override {
        EXPECT_TRUE(Has(numbers));
        if (numbers.mail != 3 || numbers.customer < 5) return {};
        if (numbers.customer == 8) return {unsigned_id};
        if (numbers.customer == 9) return {old_id};
        if (numbers.customer == 7) return {signer.MessageId(LocalOf(7, 3, "ffffffff"), "shop.example.jp")};
        return {IdOf(numbers.customer)};
    }
    std::optional<MailNumbers> BehindOldId(std::string_view id) override {
        return id == old_id ? std::optional(MailNumbers{3, 9}) : std::nullopt;
    }
};

std::string Report(std::string const& returned,
                   std::string const& fields = "Final-Recipient: rfc822;n5@example.com",
                   std::string const& header = "") {
    return "From: MAILER-DAEMON@mx.example.com\r\nTo: shop@example.jp\r\n" + header +
           "Subject: Undelivered Mail\r\nMIME-Version: 1.0\r\nContent-Type: multipart/report; "
           "report-type=delivery-status; boundary=b\r\n\r\n--b\r\n\r\nSorry.\r\n--b\r\nContent-Type: "
           "message/delivery-status\r\n\r\nReporting-MTA: dns; mx\r\n\r\n" +
           fields + "\r\nAction: failed\r\n\r\n--b\r\n" + returned + "\r\n--b--\r\n";
}
std::string Nested(std::string const& message) { return "Content-Type: message/rfc822\r\n\r\n" + message; }
std::string Mail(std::string const& header, std::string const& body = "text\r\n") {
    return "From: a@example.com\r\nTo: shop@example.jp\r\n" + header + "\r\n" + body;
}
std::string Multipart(std::string const& subtype, std::vector<std::string> const& parts,
                      std::string const& boundary) {
    std::string text = "From: a@example.com\r\nMIME-Version: 1.0\r\nContent-Type: multipart/" + subtype +
                       "; boundary=" + boundary + "\r\n\r\n";
    for (std::string const& part : parts) text += "--" + boundary + "\r\n" + part + "\r\n";
    return text + "--" + boundary + "--\r\n";
}
std::string OfId(std::string const& id) { return "Message-ID: <" + id + ">\r\n"; }
std::string Base64Of(std::string const& text) {
    constexpr char letters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string base64;
    for (std::size_t at = 0; at < text.size(); at += 3) {
        unsigned bits = 0;
        for (std::size_t i = at; i < at + 3; ++i)
            bits = bits << 8 | (i < text.size() ? static_cast<unsigned char>(text[i]) : 0U);
        for (unsigned i = 0; i < 4; ++i)
            base64 += at + i > text.size() ? '=' : letters[bits >> (18 - 6 * i) & 63];
        if (base64.size() % 78 == 76) base64 += "\r\n";
    }
    return base64;
}

std::string Told(Traced const& one) {
    return std::to_string(one.numbers.mail) + "/" + std::to_string(one.numbers.customer) +
           (one.how == Traced::by_token ? " by token" : "") + " " + std::to_string(one.depth);
}
std::string All(std::string const& raw) {
    Sent sent;
    engine::IncomingMail const mail(raw);
    std::string text;
    for (Traced const& one : Trace(mail, raw, signer, sent).All())
        text += (text.empty() ? "" : ", ") + Told(one);
    return text;
}

struct Row {
    char const* what;
    std::string raw, wanted;
};

TEST(Trace, FindsTheMailThatIsAnswered) {
    std::string const id = IdOf(5), header = "Subject: x\r\n" + OfId(id),
                      copy = "From: shop@example.jp\r\n" + header;
    std::string const token = signer.Token({3, 5}, Use::return_path),
                      leave = signer.Token({3, 6}, Use::unsubscribe);
    Row const rows[] = {
        {"returned as a part", Report(Nested(copy + "\r\ntext\r\n")), "3/5 1"},
        {"its header alone", Report("Content-Type: text/rfc822-headers\r\n\r\n" + copy), "3/5 1"},
        {"its header as a message", Report("Content-Type: message/rfc822-headers\r\n\r\n" + copy), "3/5 1"},
        {"in Base64",
         Report("Content-Type: message/rfc822\r\nContent-Transfer-Encoding: base64\r\n\r\n" +
                Base64Of(copy + "\r\nx\r\n")),
         "3/5 1"},
        {"without an end", Mail("Content-Type: multipart/mixed; boundary=b\r\n", "--b\r\n" + Nested(copy)),
         "3/5 1"},
        {"returned in a returned one", Report(Nested(Report(Nested(copy + "\r\nx\r\n")))), "3/5 2"},
        {"the innermost of two",
         Report(Nested(OfId(IdOf(6)) + "MIME-Version: 1.0\r\n" + Multipart("mixed", {Nested(copy)}, "c"))),
         "3/5 2"},
        {"before References", Report(Nested(copy + "\r\nx\r\n"), "", "References: <" + IdOf(6) + ">\r\n"),
         "3/5 1"},
        {"a digest of bounces",
         Multipart("digest", {"\r\n" + Report(Nested(copy)), "\r\n" + Mail("", "> " + OfId(IdOf(6)))}, "d"),
         "3/5 2, 3/6 1"},
        {"several in one text", Mail("", OfId(id) + "\r\n" + OfId(IdOf(6)) + OfId(id)), "3/5 0, 3/6 0"},
        {"In-Reply-To", Mail("In-Reply-To: <" + id + ">\r\n"), "3/5 0"},
        {"In-Reply-To before References",
         Mail("References: <" + IdOf(6) + ">\r\nIn-Reply-To: <" + id + ">\r\n"), "3/5 0"},
        {"the last of References", Mail("References: <" + IdOf(6) + ">\r\n <" + id + ">\r\n <a@b>\r\n"),
         "3/5 0"},
        {"References in one word", Mail("References: " + id + "\r\n"), "3/5 0"},
        {"another field", Mail("X-Original-Message-ID: <" + id + ">\r\n"), "3/5 0"},
        {"Original-Message-ID of a receipt",
         Mail("Content-Type: multipart/report; report-type=disposition-notification; boundary=b\r\n",
              "--b\r\n\r\nread\r\n--b\r\nContent-Type: "
              "message/disposition-notification\r\n\r\nOriginal-Message-ID: <" +
                  id + ">\r\nDisposition: manual-action/MDN-sent-manually; displayed\r\n\r\n--b--\r\n"),
         "3/5 0"},
        {"Original-Envelope-Id", Report("\r\nnothing", "Original-Envelope-Id: " + id), "3/5 0"},
        {"a copy in the text",
         Mail("", "------ This is a copy of the message, including all the headers. ------\r\n\r\n" + copy),
         "3/5 0"},
        {"a quoted copy",
         Mail("", "> From: shop@example.jp\r\n> Message-ID:\r\n>  <" + id.substr(0, 50) + "\r\n> " +
                      id.substr(50) + ">\r\n"),
         "3/5 0"},
        {"a sentence", Mail("", "Your message " + id + " could not be delivered.\r\n"), "3/5 0"},
        {"Japanese",
         Mail("Content-Type: text/plain; charset=iso-2022-jp\r\n",
              "\x1B$B%a!<%k\x1B(B<" + id + ">\x1B$B$O\x1B(B\r\n"),
         "3/5 0"},
        {"text in Base64", Mail("Content-Transfer-Encoding: base64\r\n", Base64Of("a copy:\r\n" + copy)),
         "3/5 0"},
        {"text in quoted-printable",
         Mail("Content-Transfer-Encoding: quoted-printable\r\n",
              "<" + id.substr(0, 44) + "=\r\n" + id.substr(44) + "=3E\r\n"),
         "3/5 0"},
        {"quoted-printable that is not declared",
         Mail("", "=3C" + id.substr(0, 44) + "=\r\n" + id.substr(44) + "=3E\r\n"), "3/5 0"},
        {"HTML",
         Mail("Content-Type: text/html\r\n", "<p>&lt;" + id.substr(0, 30) + "<br>" + id.substr(30) + "&gt;"),
         "3/5 0"},
        {"an attached file",
         Multipart("mixed",
                   {"\r\nhi",
                    "Content-Type: application/octet-stream\r\nContent-Transfer-Encoding: base64\r\n\r\n" +
                        Base64Of(copy)},
                   "e"),
         "3/5 0"},
        {"behind the end", Multipart("mixed", {"\r\nhi"}, "e") + copy, "3/5 0"},
        {"before the first part",
         "From: a\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n" + copy +
             "\r\n--b\r\n\r\nhi\r\n--b--\r\n",
         "3/5 0"},
        {"no header at all", "\r\n\r\n" + id, "3/5 0"},
        {"an earlier attempt", Mail("", OfId(IdOf(7))), "3/7 0"},
        {"on record without a signature", Mail("", OfId(unsigned_id)), "3/8 0"},
        {"of an earlier version, returned", Report(Nested(OfId(old_id) + "\r\nx\r\n")), "3/9 1"},
        {"of an earlier version, answered", Mail("References: <x@y> <" + old_id + ">\r\n"), "3/9 0"},
        {"of an earlier version, in a text", Mail("", "> Message-Id:\r\n> \t<" + old_id + ">\r\n"), "3/9 0"},
        {"the address it came to", Mail("Delivered-To: bounce+" + token + "@example.jp\r\n"),
         "3/5 by token 0"},
        {"another field of it", Mail("X-Original-To: BOUNCE+" + token + "@EXAMPLE.JP\r\n"), "3/5 by token 0"},
        {"as servers write it", Mail("Envelope-To: <bounce+" + token + "@example.jp>\r\n"), "3/5 by token 0"},
        {"the second of two", Mail("Delivered-To: me@example.jp\r\nDelivered-To: bounce+" + token + "@x\r\n"),
         "3/5 by token 0"},
        {"received for it", Mail("Received: from a by b for <bounce+" + token + "@x>; Mon, 23 Nov 2026\r\n"),
         "3/5 by token 0"},
        {"rewritten on its way", Mail("Delivered-To: SRS0=ab=cd=x.jp=bounce+" + token + "@y\r\n"),
         "3/5 by token 0"},
        {"an ID before the address",
         Mail("In-Reply-To: <" + IdOf(6) + ">\r\nDelivered-To: bounce+" + token + "@x\r\n"), "3/6 0"},
        {"the subject of a request", Mail("Subject: Re: unsubscribe " + leave + "\r\n"), "3/6 by token 0"},
        {"the text of a request", Mail("", "<REFUSE> " + leave + "\r\n"), "3/6 by token 0"},
        {"a copy without its ID",
         Mail("", "> List-Unsubscribe: <mailto:a@b?subject=unsubscribe%20" + leave + "&body=x>"),
         "3/6 by token 0"},
        {"nothing", Mail("References: <a@b>\r\n"), ""},
        {"its own ID alone", Mail(OfId("x@y"), ""), ""},
        {"empty", "", ""},
    };
    for (Row const& row : rows) EXPECT_EQ(row.wanted, All(row.raw)) << row.what;
}

TEST(Trace, ForgeriesLeadNowhere) {
    std::string const id = IdOf(5),
                      check = id.substr(id.find('@') - IdSigner::check_size, IdSigner::check_size);
    std::string const token = signer.Token({3, 5}, Use::return_path);
    auto const with_check = [&](int customer, int mail) {
        return LocalOf(customer, mail, "1a2b3c4d") + "-" + check + "@shop.example.jp";
    };
    std::string const ids[] = {
        "0.m0.tessaly-00000000@x",
        "1.m3.tessaly-00000000@x",
        "5.m3.tessaly-1a2b3c4d@shop.example.jp",
        LocalOf(5, 3, "1a2b3c4d") + "@shop.example.jp",
        with_check(6, 3),
        with_check(5, 4),
        LocalOf(5, 3, "1a2b3c4e") + "-" + check + "@shop.example.jp",
        LocalOf(5, 3, "1a2b3c4d") + "-aaaaaaaaaaaaaaaa@shop.example.jp",
        LocalOf(5, 3, "1a2b3c4d") + "-" + token.substr(6) + "@shop.example.jp",
        elsewhere.MessageId(LocalOf(5, 3, "1a2b3c4d"), "shop.example.jp"),
        LocalOf(8, 3, "00000000") + "@shop.example.jp",
        IdOf(5, 2),   // no such mail
        IdOf(10, 3),  // no such customer
        "OLD.20200101.8@Shop.example.jp",
        "@shop.example.jp",
    };
    for (std::string const& forged : ids) {
        EXPECT_EQ("", All(Mail("References: <" + forged + ">\r\n", "<REFUSE>\r\n"))) << forged;
        EXPECT_EQ("", All(Report(Nested(OfId(forged) + "\r\nx\r\n")))) << forged;
        EXPECT_EQ("3/6 0", All(Mail("In-Reply-To: <" + forged + ">\r\nReferences: <" + IdOf(6) + ">\r\n")))
            << forged;
    }
    std::string const tokens[] = {
        signer.Token({3, 5}, Use::unsubscribe),
        elsewhere.Token({3, 5}, Use::return_path),
        "m3-c6-" + token.substr(6),
        "m3-c5-" + check,
        "m3-c5-aaaaaaaaaaaaaaaa",
        "m3-c5",
        signer.Token({2, 5}, Use::return_path),
        signer.Token({3, 10}, Use::return_path),
    };
    for (std::string const& forged : tokens) {
        std::string const raw = Mail("Delivered-To: bounce+" + forged + "@x\r\n");
        EXPECT_EQ("", All(raw)) << forged;
    }
    EXPECT_EQ("", All(Mail("Subject: unsubscribe " + token + "\r\n", "<REFUSE> " + token + "\r\n")));
}

TEST(Trace, ARightTokenTellsWhoUnsubscribes) {
    std::string const token = signer.Token({3, 5}, Use::unsubscribe);
    std::pair<std::string, bool> const rows[] = {
        {Mail("Subject: unsubscribe " + token + "\r\n", ""), true},
        {Mail("Subject: =?UTF-8?B?" + Base64Of("解除 " + token) + "?=\r\n", ""), true},
        {Mail("Subject: unsubscribe\r\n", "<REFUSE> " + token + "\r\n"), true},
        {Mail("Content-Type: text/html\r\n", "&lt;REFUSE&gt; " + token), true},
        {Mail("Subject: unsubscribe\r\n", "<REFUSE>\r\n"), false},
        {Mail("", std::string(2000, 'x') + token), false},
        {Mail("Subject: unsubscribe " + signer.Token({3, 5}, Use::return_path) + "\r\n"), false},
        {Mail("Subject: unsubscribe " + elsewhere.Token({3, 5}, Use::unsubscribe) + "\r\n"), false},
        {Report(Nested(Mail("Subject: unsubscribe " + token + "\r\n"))), false},
    };
    for (auto const& [raw, right] : rows) {
        Sent sent;
        engine::IncomingMail const mail(raw);
        auto const numbers = Trace(mail, raw, signer, sent).Unsubscriber();
        EXPECT_EQ(right, numbers.has_value()) << raw;
        EXPECT_TRUE(!numbers || *numbers == MailNumbers({3, 5}));
    }
}

TEST(Trace, LastOfAllByTheOnlyCustomerAmongTheAddresses) {
    std::map<std::string, int> const customers = {
        {"n5@example.com", 5}, {"n6@example.com", 6}, {"a..b.@docomo.ne.jp", 8}, {"shop@example.jp", 1}};
    auto const of = [](std::string const& address) {
        return Report("\r\nx", "Final-Recipient: rfc822;" + address);
    };
    std::pair<std::string, int> const rows[] = {
        {of("n5@example.com"), 5},
        {of(" <N5@Example.COM>"), 5},
        {of("who@example.com"), -1},
        {of("who@example.com\r\nOriginal-Recipient: rfc822;n6@example.com"), 6},
        {of("\r\n n5@example.com"), 5},
        {of("n+35@example.com"), 5},
        {of("n5@example.com\r\n\r\nFinal-Recipient: rfc822;n6@example.com"), -1},
        {Mail("X-Failed-Recipients: n6@example.com\r\n", "n5@example.com"), 6},
        {Mail("", "550 <n6@example.com>: unknown. For help ask postmaster@example.com."), 6},
        {Mail("", "<a..b.@docomo.ne.jp>: from shop@example.jp"), 8},
        {Mail("", "n5@example.com, n6@example.com"), -1},
        {Mail("", "n5@example.com.evil.example xn5@example.com n5@"), -1},
        {Mail("", "@@@ n5 @ example.com"), -1},
    };
    for (auto const& [raw, customer] : rows) {
        Sent sent;
        engine::IncomingMail const mail(raw);
        auto const found = Trace(mail, raw, signer, sent).ByAddress([&](std::string const& address) {
            auto const known = customers.find(address);
            return known == customers.end() ? std::nullopt
                                            : std::optional(Trace::LastMail{{3, known->second}, "id"});
        });
        EXPECT_EQ(customer, found ? found->numbers.customer : -1) << raw;
        EXPECT_TRUE(!found || found->how == Traced::by_address);
    }
}

// What came back is compared with what is on record without its domain and case; the record's form is given.
TEST(Trace, GivesTheIdOnRecord) {
    Sent sent;
    std::string raw = "Message-ID: <" + unsigned_id.substr(0, unsigned_id.find('@')) + "@REWRITTEN.example>";
    for (char& letter : raw) letter = static_cast<char>(toupper(letter));
    raw = "From: a\r\n\r\n" + raw;
    engine::IncomingMail const mail(raw);
    std::vector<Traced> const found = Trace(mail, raw, signer, sent).All();
    ASSERT_EQ(1U, found.size());
    EXPECT_EQ(unsigned_id, found.front().message_id);
}

}  // namespace
