#include "engine/mails/draft.h"

#include <algorithm>
#include <string_view>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/lower_case.h"
#include "engine/base/trimmed.h"
#include "engine/base/whole_file.h"
#include "tessaly/delivery.h"
#include "tessaly/text.h"

namespace engine {
namespace {

constexpr std::size_t largest_draft = 4 << 20;
// A header line on the wire has 998 bytes at most (RFC 5322 2.1.1).
constexpr std::size_t longest_header_line = 900;

struct Line {
    std::size_t number;
    std::string_view text;
};

std::string ReadFile(std::string const& name) {
    std::string content = ReadWholeFile(name, "下書き");
    if (content.size() > largest_draft)
        throw Failure(Failure::unsuitable_file, "下書きが大きすぎます (4MBまで): " + name);
    if (content.starts_with(byte_order_mark)) content.erase(0, byte_order_mark.size());
    return content;
}

std::vector<Line> LinesOf(std::string_view content) {
    std::vector<Line> lines;
    for (std::size_t at = 0; at < content.size();) {
        std::size_t const end = std::min(content.find('\n', at), content.size());
        std::string_view text = content.substr(at, end - at);
        if (text.ends_with('\r')) text.remove_suffix(1);
        lines.push_back({lines.size() + 1, text});
        at = end + 1;
    }
    return lines;
}

// Looks through text in code page 932 that begins at (line, column) of the file.
class Inspection {
  public:
    Inspection(std::size_t line, std::size_t column, std::vector<Finding>& findings)
        : line_(line), column_(column), findings_(findings) {}

    void Look(CString const& text) {
        std::string_view const view = text.View();
        for (std::size_t at = 0; at < view.size();) {
            if (view.substr(at, 2) == "<%") LookAtWord(view.substr(at));
            std::size_t const size = platform::CharacterSize(view, at);
            LookAtCharacter(view.substr(at, size));
            ++column_;
            if (view[at] == '\n') {
                ++line_;
                column_ = 1;
            }
            at += size;
        }
    }

  private:
    void Add(std::string text) { findings_.push_back({line_, column_, std::move(text)}); }

    void LookAtWord(std::string_view rest) {
        std::size_t const end = rest.substr(0, rest.find('\n')).find("%>");
        if (end == rest.npos) return;
        CString const word(rest.substr(0, end + 2));
        if (MailWordInsert::GetIDFromInsertString(word, MailWordInsert::plain_text) >= 0) return;
        CArray<CString, CString> outdated;
        MailWordInsert::CheckOldMailWord(word, outdated);
        Add((outdated.IsEmpty() ? "知らない差し込み文字です: "
                                : "以前の版の差し込み文字で、今は使えません: ") +
            Out(word));
    }

    void LookAtCharacter(std::string_view character) {
        int no_kana = 1, no_machine = 1, no_broken = 1;
        if (CheckMailBodyCharacterCode(CString(character), no_kana, no_machine, no_broken) == 1) return;
        std::string const shown = "「" + Out(character) + "」";
        if (!no_kana) Add("半角カナです" + shown);
        if (!no_machine) Add("機種依存文字です" + shown);
        if (!no_broken) Add("メールに使えない文字です" + shown);
    }

    std::size_t line_, column_;
    std::vector<Finding>& findings_;
};

// All of the file at once, so that the place is one of the file.
void RefuseUnknownCharacters(std::string_view content) {
    Crossed const crossed = IntoLibrary(content);
    if (!crossed.no_form) return;
    bool const is_utf8 = !crossed.no_form->character.starts_with('\\');
    throw Failure(Failure::text_without_form,
                  "下書きに使えない文字があります: " + Describe(*crossed.no_form) +
                      (is_utf8 ? "。Shift_JISにある文字に置き換えてください。"
                               : "。下書きは文字コードをUTF-8にして保存してください。"),
                  {.line = crossed.no_form->line, .column = crossed.no_form->column});
}

CString Cross(std::string_view text) { return CString(std::string_view(IntoLibrary(text).text)); }

std::size_t Characters(std::string_view utf8) {
    return static_cast<std::size_t>(
        std::count_if(utf8.begin(), utf8.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

bool IsControl(char c) { return (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7F; }

void ReadHeaderLine(Line const& line, Draft& draft, std::vector<Finding>& findings) {
    std::string const place = std::to_string(line.number) + "行: ";
    if (std::any_of(line.text.begin(), line.text.end(), IsControl))
        throw Failure(Failure::unsuitable_file,
                      "下書きの" + place + "見出しに使えない制御文字 (改行など) があります。");
    std::size_t const colon = line.text.find(':');
    if (colon == line.text.npos || colon == 0) {
        throw Failure(
            Failure::unsuitable_file,
            "下書きの" + place +
                "「Subject: 件名」のような見出しではありません。見出しと本文の間には空の行が必要です。");
    }
    if (line.text.size() > longest_header_line)
        throw Failure(Failure::unsuitable_file, "下書きの" + place + "見出しが長すぎます。");
    std::string_view const name = line.text.substr(0, colon);
    std::string_view const value = Trimmed(line.text.substr(colon + 1));
    std::size_t const column =
        Characters(line.text.substr(0, static_cast<std::size_t>(value.data() - line.text.data()))) + 1;
    if (EqualNoCase(name, "Subject")) {
        if (!draft.subject.IsEmpty())
            throw Failure(Failure::unsuitable_file, "下書きの" + place + "Subject が2つあります。");
        draft.subject = Cross(value);
        Inspection(line.number, column, findings).Look(draft.subject);
    } else if (EqualNoCase(name, "From")) {
        draft.from = ReadMailbox(std::string(value), "下書きの From");
    } else if (EqualNoCase(name, "Reply-To")) {
        draft.reply_to = ReadMailbox(std::string(value), "下書きの Reply-To");
    } else {
        throw Failure(Failure::unsuitable_file, "下書きの" + place +
                                                    "知らない見出しです: " + std::string(name) +
                                                    " (使えるのは Subject、From、Reply-To)");
    }
}

}  // namespace

Mailbox ReadMailbox(std::string const& utf8, std::string const& what) {
    std::string_view name, address = Trimmed(utf8);
    if (std::size_t const open = address.rfind('<'); open != address.npos && address.ends_with('>')) {
        name = Trimmed(address.substr(0, open));
        address = address.substr(open + 1, address.size() - open - 2);
        if (name.size() >= 2 && name.starts_with('"') && name.ends_with('"'))
            name = name.substr(1, name.size() - 2);
    }
    Mailbox mailbox{Into(name, what), Into(address, what)};
    if (MailAddressChecker(mailbox.address) != 1)
        throw Failure(Failure::invalid_address,
                      what + "のメールアドレスが正しくありません: " + std::string(utf8));
    return mailbox;
}

void InspectText(CString const& text, std::vector<Finding>& findings) {
    Inspection(1, 1, findings).Look(text);
}

Draft ReadDraft(std::string const& file, std::vector<Finding>& findings, DraftBody body) {
    std::string const content = ReadFile(file);
    RefuseUnknownCharacters(content);
    std::vector<Line> const lines = LinesOf(content);
    Draft draft;
    std::size_t i = 0;
    for (; i < lines.size() && !lines[i].text.empty(); ++i) ReadHeaderLine(lines[i], draft, findings);
    if (draft.subject.IsEmpty())
        throw Failure(Failure::incomplete_mail, "下書きに件名 (Subject: ...) がありません: " + file);
    if (i + 1 >= lines.size()) {
        if (body == DraftBody::optional) return draft;
        throw Failure(Failure::incomplete_mail, "下書きに本文がありません: " + file);
    }
    std::string_view const rest =
        std::string_view(content).substr(static_cast<std::size_t>(lines[i + 1].text.data() - content.data()));
    draft.body = CrLfConverter(Cross(rest));
    if (CString(draft.body).Trim().IsEmpty()) {
        if (body == DraftBody::required)
            throw Failure(Failure::incomplete_mail, "下書きに本文がありません: " + file);
        draft.body.Empty();
    }
    Inspection(lines[i + 1].number, 1, findings).Look(draft.body);
    return draft;
}

void TellFindings(FrontEnd& front, std::vector<Finding> const& findings, bool anyway,
                  std::string const& where) {
    constexpr std::size_t findings_shown = 20;
    for (std::size_t i = 0; i < std::min(findings.size(), findings_shown); ++i)
        front.Notice(where + " " + std::to_string(findings[i].line) + "行" +
                     std::to_string(findings[i].column) + "文字目: " + findings[i].text);
    if (findings.size() > findings_shown)
        front.Notice("… ほか " + std::to_string(findings.size() - findings_shown) + "か所");
    if (!findings.empty() && !anyway)
        throw Failure(Failure::not_confirmed,
                      where + "に直すところがあります。このまま使うなら --force をつけてください。");
}

}  // namespace engine
