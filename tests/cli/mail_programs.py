"""Mails as three kinds of mail programs write them, made with Python's email package."""

import email.charset
import email.utils

from email.mime.message import MIMEMessage
from email.mime.multipart import MIMEMultipart
from email.mime.nonmultipart import MIMENonMultipart


def text(content, charset, encoding, kind="plain", **parameters):
    """A text part in base64, quoted-printable or 7bit."""
    rules = email.charset.Charset(charset)
    rules.body_encoding = {"base64": email.charset.BASE64, "quoted-printable": email.charset.QP}.get(encoding)
    part = MIMENonMultipart("text", kind, charset=charset, **parameters)
    part.set_payload(content, rules)
    return part


def word(content, charset, by=email.charset.BASE64):
    """One encoded word, or the text itself where it is ASCII."""
    rules = email.charset.Charset(charset)
    rules.header_encoding = by
    return content if content.isascii() else rules.header_encode(content)


def disposition(content):
    """The fields of a receipt."""
    part = MIMENonMultipart("message", "disposition-notification")
    part.set_payload(content)
    return part


def header_of(message):
    """What a report returns of a mail when it returns no more than that."""
    return text("".join(f"{name}: {value}\n" for name, value in message.items()), "us-ascii", "7bit", "rfc822-headers")


def quoted(mail):
    return "".join(f"> {line}\n" for line in ("<REFUSE>", "配信停止", *mail.body.splitlines()))


def markup(content):
    escaped = content.replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;").replace("\n", "<br>\n")
    return f"<html><body><div>{escaped}</div></body></html>\n"


class Program:
    def __init__(self, mail, customer):
        self.mail, self.customer = mail, f"{customer}@example.jp"

    def text(self, content):
        return text(content, self.charset, self.encoding)

    def reply(self, first_line, subject="Re: ", **headers):
        return self.addressed(self.body(f"{first_line}\n\n{self.above(self.mail)}\n\n{quoted(self.mail)}"),
                              subject + self.mail.subject, **headers)

    def receipt(self, told, subject, shown="displayed", original="{name}: <{id}>\n", **headers):
        report = MIMEMultipart("report")
        report.set_param("report-type", self.report_type, requote=False)
        report.attach(self.body(told))
        name = self.cased("Original-Message-ID")
        report.attach(disposition(self.cased("Final-Recipient") + f": rfc822;{self.customer}\n" +
                             original.format(name=name, id=self.mail.id) + self.cased("Disposition") + f": {self.by}{shown}\n"))
        for part in self.returned():
            report.attach(part)
        return self.addressed(report, subject + self.mail.subject, **headers)

    def returned(self):
        return ()

    def bytes(self, message):
        return message.as_bytes().replace(b"\n", self.line_end)


class Desktop(Program):
    """CR LF, quoted boundaries, headers folded with tabs, ISO-2022-JP, the whole thread and the parent."""

    line_end, charset, encoding, report_type = b"\r\n", "iso-2022-jp", "7bit", "disposition-notification"
    by = "manual-action/MDN-sent-manually; "
    cased = staticmethod(str)

    def body(self, content):
        return text(content, "iso-2022-jp" if not content.isascii() else "us-ascii", "7bit", format="flowed")

    def above(self, mail):
        return f"-----Original Message-----\nFrom: shop@example.jp\nSubject: {mail.subject}\n"

    def addressed(self, part, subject, sender=None, thread=True):
        if part.is_multipart():
            part.set_boundary("----=_NextPart_000_0012_01DA5B3C.7E8F9A00")
        part["From"] = f'"Shop <no@example.com>, {word("表", self.charset)}"\n\t<{sender or self.customer}>'
        part["To"] = "<shop@example.jp>"
        if thread:
            part["References"] = f"<before@example.jp>\n\t<{self.mail.id}>"
            part["In-Reply-To"] = f"<{self.mail.id}>"
        part["Subject"] = word(subject, self.charset)
        part["Date"] = "Mon, 5 Oct 2026 09:08:07 +0900"
        part["Message-ID"] = email.utils.make_msgid(domain="desktop.example")
        return part

    def returned(self):
        return (header_of(self.mail.message),)


class Web(Program):
    """LF, bare boundaries, small letters in field names, UTF-8 in base64, markup beside the text."""

    line_end, charset, encoding, report_type = b"\n", "utf-8", "base64", "disposition-notification"
    by = "automatic-action/MDN-sent-automatically;\n "
    cased = staticmethod(str.lower)

    def body(self, content):
        both = MIMEMultipart("alternative")
        both.set_param("boundary", "000000000000ffff", requote=False)
        both.attach(self.text(content))
        both.attach(text(markup(content), self.charset, self.encoding, "html"))
        return both

    def above(self, mail):
        return f"2026年10月5日(月) 9:00 みどり野の店 <{mail.message['From']}>:\n"

    def addressed(self, part, subject, sender=None, thread=True):
        part.set_param("boundary", "000000000000a1b2c305f1", requote=False)
        part["from"] = f"{word('表示名', self.charset)} <{sender or self.customer}>"
        part["to"] = f"{word('みどり野の店', self.charset)} <shop@example.jp>"
        if thread:
            part["in-reply-to"] = f"<{self.mail.id}>"
            part["references"] = f"<first@example.jp> <second@example.jp>\n <{self.mail.id}>"
        part["subject"] = word(subject, self.charset)
        part["message-id"] = email.utils.make_msgid(domain="web.example")
        part["date"] = "Mon, 05 Oct 2026 00:08:07 +0000 (UTC)"
        return part


class Phone(Program):
    """LF, parameters on lines of their own, quoted-printable UTF-8, IDs on lines of their own, no thread."""

    line_end, charset, encoding, report_type = b"\n", "utf-8", "quoted-printable", "Disposition-Notification"
    by = "manual-action/MDN-sent-automatically;"
    cased = staticmethod(str.upper)

    def body(self, content):
        return self.text(content)

    def above(self, mail):
        return f"携帯から送信\n\n{mail.subject}:"

    def addressed(self, part, subject, sender=None, thread=True):
        if part.is_multipart():
            part.set_boundary("Part=_6F9619FF-8B86: (D011)")
        kind = part["Content-Type"].replace("; ", ";\n\t")
        del part["Content-Type"], part["MIME-Version"]
        part["Subject"] = word(subject, self.charset, email.charset.QP)
        part["From"] = f"{sender or self.customer} ({word('携帯', self.charset)})"
        part["Content-Type"] = kind
        part["Mime-Version"] = "1.0 (phone)"
        if thread:
            part["In-Reply-To"] = f"\n <{self.mail.id}>"
        part["Message-Id"] = "\n " + email.utils.make_msgid(domain="phone.example")
        part["To"] = "shop@example.jp"
        return part

    def returned(self):
        return (MIMEMessage(self.mail.message),)
