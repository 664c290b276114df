"""HTML mails: made, changed, shown, sent, written as .eml files and read from those of other mail programs."""

import base64
import email
import email.encoders
import email.policy
import unittest
from email.mime.base import MIMEBase
from email.mime.multipart import MIMEMultipart

from cli import CommandTest, from_header, from_jis
from mail_programs import Desktop, Phone, Web, text, word

GIF = base64.b64decode("R0lGODlhAQABAIAAAP8AAAAAACH5BAAAAAAALAAAAAABAAEAAAICRAEAOw==")
PNG = b"\x89PNG\r\n\x1a\n" + bytes(range(256)) * 9
PAGE = """<!DOCTYPE html>
<html><head><meta charset="utf-8"><title>春</title><style>td { background: url('back.gif') }</style></head>
<body background=back.gif><h1><%名前(姓)%> 様</h1><p>Ⅲ 髙島屋の﨑 💐 ～ a &amp; b ¥1,980 &yen;2,980<br>
<a href="https://example.jp/?id=<%個人情報ID%>&amp;x=1">くわしく</a></p>
<img SRC="img/%6Cogo.PNG" alt="SALE"><img src='img\\logo.PNG'><img src="https://example.com/x.png">
<script>if (a < b) "<img src=none.png>"</script></body></html>
"""


class HtmlMail(CommandTest):
    def setUp(self):
        super().setUp()
        self.new_shop("a@example.jp,田<b>,花子,Y", "b@docomo.ne.jp,\"表\"\"&\",,Y")
        (self.folder / "img").mkdir()
        self.put("back.gif", GIF)
        self.put("img/logo.PNG", PNG)
        self.put("page.html", PAGE)
        self.put("draft.txt", "Subject: <%名前(姓)%>様へ\n")
        self.put("text.txt", "Subject: x\n\nご案内 <%名前(姓)%>\n")

    def mail(self, command, *arguments, **options):
        return self.tessaly("mail", command, "shop.tsl", *arguments, **options)

    def sent_bytes(self):
        """The mails as they came out of the post box."""
        self.tessaly("target", "shop.tsl", 0, "--all")
        self.postbox()
        self.tessaly("send", "shop.tsl", 0, "--smtp", self.server)
        contents = [file.read_bytes() for file in self.box.glob("*.eml")]
        return {email.message_from_bytes(content)["Delivered-To"].split("@")[0]: content for content in contents}

    def sent(self):
        return {name: email.message_from_bytes(content) for name, content in self.sent_bytes().items()}

    @staticmethod
    def shape(message):
        """Types of all parts, with the names of files."""
        if not message.is_multipart():
            name = message.get_filename()
            return message.get_content_subtype() + (":" + name if name else "")
        return [message.get_content_subtype()] + [HtmlMail.shape(part) for part in message.get_payload()]

    @staticmethod
    def parts(message, kind):
        return [part.get_payload(decode=True) for part in message.walk() if part.get_content_type() == kind]

    def test_every_customer_gets_a_page_a_text_and_the_pictures(self):
        made = self.mail("new", "--draft", "draft.txt", "--html", "page.html", "--attach", "text.txt", "--honorific", "様",
                         "--force")
        self.assertIn("HTMLから外しました: スクリプト 1\n", made.err)
        self.assertIn("HTML 3行50文字目: 機種依存文字です「Ⅲ」", made.err)
        self.assertIn("https://example.com/x.png", made.err)
        self.assertIn("HTML: ", self.mail("show", 0).out)
        self.assertIn("画像: back.gif\n画像: logo.PNG\n", self.mail("show", 0).out)
        mails = self.sent()
        for number, (name, escaped, subject) in enumerate((("a", "田&lt;b&gt;", "田<b>"), ("b", "表&quot;&amp;", "表\"&"))):
            message = mails[name]
            self.assertEqual(self.shape(message), ["mixed", ["related", ["alternative", "plain", "html"], "gif:back.gif",
                                                             "png:logo.PNG"], "octet-stream:text.txt"])
            self.assertFalse(any(part.defects for part in message.walk()))
            self.assertEqual(from_header(message["Subject"]), subject + "様へ")
            page = from_jis(self.parts(message, "text/html")[0])
            self.assertIn(f"<h1>{escaped} 様</h1><p>Ⅲ 髙島屋の﨑 &#128144; ～ a &amp; b ￥1,980 &yen;2,980<br>\r\n", page)
            self.assertIn(f'<a href="https://example.jp/?id={number}&amp;x=1">', page)
            self.assertNotIn("charset", page)
            gif, png = [part["Content-ID"][1:-1] for part in message.walk() if part["Content-ID"]]
            self.assertIn(f"url('cid:{gif}')", page)
            self.assertIn(f"<body background=cid:{gif}>", page)
            self.assertIn(f"<img SRC=\"cid:{png}\" alt=\"SALE\"><img src='cid:{png}'><img src=\"https://example.com/x.png\">", page)
            self.assertNotIn("script", page)
            self.assertEqual(self.parts(message, "image/gif") + self.parts(message, "image/png"), [GIF, PNG])
            self.assertTrue(all(len(line) <= 998 for line in message.as_bytes().splitlines()))
        plain = from_jis(self.parts(mails["a"], "text/plain")[0]).replace("\r\n", "\n")
        self.assertEqual(plain.split("\n")[0], "田<b> 様")
        self.assertIn("a & b ￥1,980 ￥2,980\nくわしく <https://example.jp/?id=0&x=1>\n\nSALE", plain)

    def test_long_names_are_folded(self):
        """No line with an encoded word has more than 76 characters (RFC 2047 2), and a reader of today finds what was meant."""
        name = "みどり野の店の春のご案内と地図と営業時間のお知らせ"
        self.put(f"{name}.jpeg", GIF)
        self.put(f"{name}.txt", "x")
        self.put("page.html", f"<img src='{name}.jpeg'>")
        self.put("draft.txt", f"Subject: {name}{name}\n\n本文\n")
        self.tessaly("settings", "shop.tsl", f"from.name={name}", "mailer=" + name)
        self.mail("new", "--draft", "draft.txt", "--html", "page.html", "--attach", f"{name}.txt", "--honorific", name, "--force")
        self.mail("export", 0, "0.eml")
        for content in (self.sent_bytes()["a"], (self.folder / "0.eml").read_bytes()):
            for line in content.splitlines():
                self.assertTrue(len(line) <= 76 or b"=?" not in line, line)
            message = email.message_from_bytes(content, policy=email.policy.default)
            self.assertEqual(message["Subject"], name + name)
            self.assertEqual({part.get_content_type(): part.get_filename() for part in message.walk() if part.get_filename()},
                             {"image/jpeg": f"{name}.jpeg", "application/octet-stream": f"{name}.txt"})
            if "To" in message:
                plain = email.message_from_bytes(content)
                self.assertEqual(from_header(plain["From"]), f"{name} <shop@example.jp>")
                self.assertEqual(from_header(plain["To"]), f"田<b> 花子{name} <a@example.jp>")
                self.assertEqual([at.addr_spec for field in ("From", "To") for at in message[field].addresses],
                                 ["shop@example.jp", "a@example.jp"])

    def test_preview_writes_a_page_of_its_own(self):
        self.mail("new", "--draft", "draft.txt", "--html", "page.html", "--force")
        shown = self.tessaly("preview", "shop.tsl", 0, "--customer", 0, "--html", "out.html")
        self.assertIn("サーバーなどから読み込むものは、見本のHTMLに入れませんでした: 1か所", shown.err)
        page = self.text("out.html")
        self.assertTrue(page.startswith("<!DOCTYPE html><meta charset=\"utf-8\"><meta http-equiv=\"Content-Security-Policy\" "
                                        "content=\"default-src 'none'; img-src data:; style-src 'unsafe-inline'\">"), page)
        self.assertIn("<h1>田&lt;b&gt; 様</h1>", page)
        self.assertIn(f"url('data:image/gif;base64,{base64.b64encode(GIF).decode()}')", page)
        self.assertEqual(page.count("cid:"), 0)
        unwritten = self.tessaly("preview", "shop.tsl", 0, "--customer", 0, "--html", "none/out.html", code=1)
        self.assertIn("書けませんでした: none/out.html", unwritten.err)
        self.mail("edit", 0, "--no-html")
        self.refused("preview", "shop.tsl", 0, "--customer", 0, "--html", "out.html", says="HTMLはありません")

    def test_edits_keep_the_other_part(self):
        self.mail("new", "--draft", "draft.txt", "--html", "page.html", "--force")
        self.mail("edit", 0, "--draft", "text.txt")
        shown = self.mail("show", 0).out
        self.assertIn("件名: x\n", shown)
        self.assertIn("画像: logo.PNG\n\nご案内 <%名前(姓)%>\n", shown)
        self.put("page.html", "<p>新しい<%名前(姓)%>")
        self.mail("edit", 0, "--html", "page.html")
        shown = self.mail("show", 0).out
        self.assertNotIn("画像", shown)
        self.assertIn("\n新しい<%名前(姓)%>\n", shown)
        self.mail("edit", 0, "--no-html")
        shown = self.mail("show", 0).out
        self.assertNotIn("HTML", shown)
        self.assertIn("\n新しい<%名前(姓)%>\n", shown)

    def test_html_for_phones(self):
        self.mail("new", "--draft", "text.txt")
        self.put("phone.html", "<body bgcolor=\"#ffeeee\"><%名前(姓)%> <img src=back.gif></body>")
        self.mail("edit", 0, "--terminal", "nd", "--html", "phone.html")
        mails = self.sent()
        self.assertEqual(self.shape(mails["a"]), "plain")
        self.assertEqual(self.shape(mails["b"]), ["related", ["alternative", "plain", "html"], "gif:back.gif"])
        self.assertIn("表&quot;&amp;", from_jis(self.parts(mails["b"], "text/html")[0]))
        self.assertEqual(from_jis(self.parts(mails["a"], "text/plain")[0] if mails["a"].is_multipart() else
                                  mails["a"].get_payload(decode=True)).strip(), "ご案内 田<b>")

    def test_what_is_refused(self):
        self.put("missing.html", "<p>\n<img src=none.png>")
        self.put("outside.html", "<img src=../page.html><img src=/etc/hostname><img src=file:///etc/hostname>")
        self.put("empty.html", " \n")
        self.put("sub.html", "<img src='elsewhere/back.gif'>")
        (self.folder / "away").mkdir()
        self.put("away/sub.html", "<img src='elsewhere/back.gif'>")
        self.mail("new", "--draft", "text.txt")
        draft = ["--draft", "text.txt"]
        for arguments, says in ((["--html", "missing.html"], "HTML 2行10文字目: HTMLのフォルダーの中に画像がありません (ほかにあれば --inline で指定): none.png"),
                                (["--html", "outside.html"], "画像がありません (ほかにあれば --inline で指定): /etc/hostname"),
                                (["--html", "empty.html"], "HTMLに中身がありません"),
                                (["--html", "no.html"], "HTMLのファイルを開けません"),
                                (["--html", "img"], "HTMLのファイルを開けません"),
                                (["--html", "page.html", "--force", "--inline", "text.txt"], "HTMLに名前がありません"),
                                (["--html", "sub.html", "--inline", "none.gif"], "--inline の画像がありません")):
            self.refused("mail", "new", "shop.tsl", *draft, *arguments, says=says)
        self.refused("mail", "new", "shop.tsl", *draft, "--inline", "back.gif", says="--html と一緒に", code=2)
        self.refused("mail", "edit", "shop.tsl", 0, "--terminal", "wl", "--html", "page.html", "--force",
                     says="この端末にはHTMLメールを送れません: wl")
        self.mail("new", *draft, "--html", "away/sub.html", "--inline", "back.gif")
        self.refused("mail", "edit", "shop.tsl", 1, "--terminal", "nd", "--html", "sub.html", "--inline", "back.gif",
                     says="PCのHTMLか携帯のHTMLのどちらか")
        self.assertIn("画像: back.gif", self.mail("show", 1).out)

    def test_exported_and_imported_again(self):
        self.mail("new", "--draft", "draft.txt", "--html", "page.html", "--attach", "img/logo.PNG", "--attach", "text.txt",
                  "--force")
        self.mail("new", "--draft", "text.txt")
        self.put("lines.txt", "Subject: x\n\n一行目\n\n\n")
        self.mail("new", "--draft", "lines.txt", "--attach", "text.txt")
        self.put("lines.html", "<p>a</p>\n\n")
        self.mail("new", "--draft", "lines.txt", "--html", "lines.html")
        for mail, again in ((0, 4), (1, 5), (2, 6), (3, 7)):
            self.mail("export", mail, f"{mail}.eml")
            self.refused("mail", "export", "shop.tsl", mail, f"{mail}.eml", says="ファイルがもうあります")
            self.mail("import", f"{mail}.eml", "--force")
            self.mail("export", again, f"{again}.eml")
            first, second = (email.message_from_bytes((self.folder / f"{n}.eml").read_bytes()) for n in (mail, again))
            self.assertEqual(self.shape(first), self.shape(second))
            self.assertEqual(first["Subject"], second["Subject"])
            for one, other in zip(first.walk(), second.walk()):
                self.assertEqual(one["Content-ID"], other["Content-ID"])
                self.assertEqual(one.get_payload(decode=True), other.get_payload(decode=True))
        for content, says in ((b"no colon\r\n\r\n", "ヘッダーがありません"), (b"Subject: a\r\nContent-Type: image/gif\r\n\r\nx", "文面のない"),
                              (b"X: y\r\nContent-Type: text/plain\r\n\r\nx", "件名のない"),
                              (b"Subject: a\r\nContent-Type: text/plain; charset=x-own\r\n\r\nx", "文字コード")):
            self.put("bad.eml", content)
            self.refused("mail", "import", "shop.tsl", "bad.eml", says=says)
        self.refused("mail", "import", "shop.tsl", "none.eml", says="ファイルを開けません")

    def test_mails_of_other_programs_are_imported(self):
        """A text, a page with a picture and an attachment with a Japanese name, as three programs write them."""
        for number, program in enumerate((Desktop, Web, Phone)):
            self.put("p.eml", self.foreign(program))
            self.mail("import", "p.eml", "--force")
            shown = self.mail("show", number).out
            self.assertIn("件名: 春の案内 <%名前(姓)%>\n", shown, program)
            self.assertIn("添付: 案内状.bin (", shown, program)
            self.assertIn("画像: ", shown, program)
            self.assertIn("\n春です。<%名前(姓)%> 様\n", shown, program)
            self.tessaly("preview", "shop.tsl", number, "--customer", 0, "--html", f"{number}.html")
            self.assertIn(f"<b>田&lt;b&gt; 様</b><img src=\"data:image/gif;base64,{base64.b64encode(GIF).decode()}\">",
                          self.text(f"{number}.html"), program)
            self.mail("export", number, f"{number}.eml")
            exported = email.message_from_bytes((self.folder / f"{number}.eml").read_bytes())
            self.assertEqual(self.parts(exported, "application/octet-stream"), [PNG], program)

    @staticmethod
    def foreign(program):
        page = text("<html><head><meta http-equiv=Content-Type></head><body><b>&lt;%名前(姓)%&gt; 様</b>"
                    "<img src=\"cid:p1$1@x\"></body></html>", program.charset, program.encoding, "html")
        plain = text("春です。<%名前(姓)%> 様\n", program.charset, program.encoding)
        picture, attachment = MIMEBase("image", "gif"), MIMEBase("application", "octet-stream")
        picture["Content-ID"] = "<p1$1@x>"
        for part, content in ((picture, GIF), (attachment, PNG)):
            part.set_payload(content)
            email.encoders.encode_base64(part)
        if program is Desktop:
            picture.set_param("name", "image001.gif")
            attachment.set_param("name", word("案内状.bin", program.charset))
            attachment.add_header("Content-Disposition", "attachment", filename=word("案内状.bin", program.charset))
        elif program is Web:
            picture.add_header("Content-Disposition", "inline", filename="p.gif")
            attachment.add_header("Content-Disposition", "attachment", filename=("utf-8", "", "案内状.bin"))
        else:
            attachment["Content-Disposition"] = ("attachment;\n filename*0*=utf-8''%E6%A1%88%E5%86;\n filename*1*=%85%E7%8A%B6;\n"
                                                 " filename*2=.bin")
        def group(kind, *parts):
            whole = MIMEMultipart(kind)
            for part in parts:
                whole.attach(part)
            return whole
        mail = group("mixed", group("related", group("alternative", plain, page), picture), attachment)
        mail["Subject"] = word("春の案内 <%名前(姓)%>", program.charset)
        mail["From"] = "a@example.com"
        return mail.as_bytes().replace(b"\n", program.line_end)


if __name__ == "__main__":
    unittest.main()
