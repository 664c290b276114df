"""Every command that changes something, on the shop that shop.furnish makes, and how to tell its old state from its new."""

import collections

# `random`: its files differ from run to run, and are not compared; what the user sees is. `steps`: it may stop between
# steps of its own, each of which is whole; run again, it goes on. `given`: what has to be done before. `broken`: a file that is
# then cut short, so that the old state cannot be read.
Command = collections.namedtuple("Command", "words random steps given broken", defaults=(False, False, (), None))


def on(*words, **options):
    """The environment stands behind the one or two words of the command."""
    count = 2 if words[0] in ("env", "customers", "mail", "group", "testers", "inbox", "refusals", "suppressed") else 1
    return Command((*words[:count], "shop.tsl", *words[count:]), **options)


ALL = [
    Command(("env", "new", "new.tsl"), random=True),
    on("settings", "from.name=別の店", "smtp.port=2525"),
    on("customers", "add", "メールアドレス=add@example.jp", "名前(姓)=加"),
    on("customers", "set", 5, "名前(姓)=変", "会社名=株式会社"),
    on("customers", "delete", 7, 8),
    on("customers", "restore", 3),
    on("customers", "erase", 9, 3, "--yes"),
    on("customers", "import", "more.csv"),
    on("customers", "import", "more.csv", "--keep-existing"),
    on("customers", "import", "more.csv", "--replace"),
    on("customers", "import", "book.csv", "--from", "becky", steps=True),
    on("mail", "new", "--draft", "draft.txt", "--attach", "leaflet.txt"),
    on("mail", "new", "--draft", "other.txt", "--html", "page.html", random=True),
    on("mail", "edit", 0, "--draft", "other.txt", "--honorific", "さん"),
    on("mail", "edit", 0, "--terminal", "at", "--draft", "other.txt", "--attach", "list.csv"),
    on("mail", "edit", 0, "--detach", "leaflet.txt"),
    on("mail", "import", "in.eml", random=True),
    on("mail", "export", 0, "out.eml", random=True),
    on("mail", "copy", 0),
    on("mail", "delete", 0),
    on("mail", "restore", 2),
    on("target", 0, "--where", "名前(姓)=表1,表2,表5"),
    on("target", 0, "--clear"),
    on("group", "save", 0, "もうひとつ"),
    on("group", "use", "全員", 3),
    on("group", "use", "全員", 3, "--apply"),
    on("group", "rename", "全員", "みんな"),
    on("group", "delete", "全員"),
    on("group", "restore", 1),
    on("testers", "add", "メールアドレス=v@example.jp"),
    on("testers", "delete", 0),
    on("refusals", "add", "new@example.jp", random=True),
    on("suppressed", "add", "n2@example.jp", random=True),
    on("unknown", 1, "--settle", "all", steps=True),
    on("unknown", 1, "--resend", "all", steps=True),
    on("receive", "--from-dir", "answers", steps=True),
    on("env", "repair", "--yes", steps=True, broken="shop/DB/testmailinginfo.dat"),
    on("backup", "copy.dat"),
    on("backup", "copy.dat", "--customers"),
    on("restore", "customers.dat", random=True, given=(("customers", "import", "shop.tsl", "more.csv", "--replace"),)),
    on("restore", "old.dat", "--yes", random=True),
    Command(("restore", "new.tsl", "old.dat"), random=True),
    on("undo", random=True, given=(("customers", "erase", "shop.tsl", 11, "--yes"),
                                   ("customers", "erase", "shop.tsl", 12, "--yes"))),
    on("undo", "--forget", random=True, given=(("customers", "erase", "shop.tsl", 11, "--yes"),)),
]


def named(words):
    return " ".join(map(str, words))
