#include "engine/incoming/refusal.h"

#include <algorithm>

#include "engine/environment/settings_catalogue.h"
#include "engine/incoming/folded_text.h"
#include "engine/incoming/id_search.h"
#include "engine/incoming/written_text.h"

namespace engine {
namespace {

using Certainty = RefusalSign::Certainty;

constexpr std::size_t first_lines = 3, token_lines = 20;
constexpr std::string_view refuse_tag = "<refuse>";

// How long a mail may be to say nothing but this; in lines and in characters.
struct Length {
    std::size_t lines, characters;
};
constexpr Length short_length = {8, 300}, unclear_length = {15, 600};

// All of the following is folded and without blanks.
constexpr std::string_view signs[] = {"。", "、", "「", "」", "『", "』", "【", "】", "〔", "〕",
                                      "《", "》", "…",  "・", "■",  "★",  "●",  "◆",  "～", "〜",
                                      ".",  ",",  "!",  "~",  "-",  "_",  "*",  "[",  "]",  "(",
                                      ")",  "<",  ">",  "\"", "'",  ":",  ";",  "/",  "#"};
constexpr std::string_view polite_ends[] = {"お願いします",
                                            "お願いいたします",
                                            "お願い致します",
                                            "お願い申し上げます",
                                            "おねがいします",
                                            "お願い",
                                            "願います",
                                            "希望します",
                                            "希望いたします",
                                            "希望致します",
                                            "希望です",
                                            "希望",
                                            "してください",
                                            "して下さい",
                                            "してほしい",
                                            "して欲しい",
                                            "したいです",
                                            "したい",
                                            "いたします",
                                            "致します",
                                            "します",
                                            "です",
                                            "になりました",
                                            "となりました",
                                            "にて",
                                            "にして",
                                            "して",
                                            "申請",
                                            "依頼",
                                            "よろしく",
                                            "宜しく",
                                            "ください",
                                            "下さい",
                                            "で",
                                            "に",
                                            "と",
                                            "please",
                                            "pls",
                                            "me",
                                            "thanks",
                                            "thankyou"};
constexpr std::string_view beginnings[] = {"メールマガジン",
                                           "ダイレクトメール",
                                           "メルマガ",
                                           "メール",
                                           "dm",
                                           "広告",
                                           "案内",
                                           "お知らせ",
                                           "ニュースレター",
                                           "今後",
                                           "以後",
                                           "もう",
                                           "配信は",
                                           "購読",
                                           "登録",
                                           "会員",
                                           "は",
                                           "が",
                                           "please",
                                           "pls",
                                           "mail"};

constexpr std::string_view doubts[] = {"しないで", "間違",   "誤って",     "取り消",   "取消",
                                       "続けて",   "継続",   "ですか",     "ますか",   "でしょうか",
                                       "方法",     "教えて", "できません", "できない", "?",
                                       "don't",    "donot",  "not",        "mistake",  "howto"};

// A person may mean a refusal by them.
constexpr std::string_view unclear_words[] = {"送らないで",
                                              "送信しないで",
                                              "送ってこないで",
                                              "送るのをやめて",
                                              "送るのを止めて",
                                              "送るのはやめて",
                                              "配信しないで",
                                              "配信をやめ",
                                              "配信を止め",
                                              "配信を停止",
                                              "配信の停止",
                                              "配信をストップ",
                                              "メールを止め",
                                              "メールをやめ",
                                              "メールを停止",
                                              "メールはいりません",
                                              "メールは要りません",
                                              "メールはいらない",
                                              "メールいらない",
                                              "メールは結構",
                                              "もういりません",
                                              "もう要りません",
                                              "もう結構です",
                                              "受信したくない",
                                              "受信したくありません",
                                              "受け取りたくない",
                                              "受け取りたくありません",
                                              "登録を削除",
                                              "登録削除",
                                              "登録抹消",
                                              "登録を抹消",
                                              "登録を取り消",
                                              "アドレスを削除",
                                              "アドレス削除",
                                              "リストから外",
                                              "リストから削除",
                                              "リストから除",
                                              "名簿から",
                                              "迷惑です",
                                              "迷惑メール",
                                              "購読をやめ",
                                              "購読停止",
                                              "購読を停止",
                                              "退会",
                                              "stopsending",
                                              "stopemail",
                                              "stopmail",
                                              "stopthese",
                                              "removeme",
                                              "removemy",
                                              "takemeoff",
                                              "optout",
                                              "opt-out",
                                              "optmeout",
                                              "nomoremail",
                                              "nomoreemail",
                                              "nomoree-mail",
                                              "donotsend",
                                              "don'tsend",
                                              "donotemail",
                                              "don'temail",
                                              "deletemyaddress",
                                              "cancelmysubscription",
                                              "unsubscribe"};
constexpr std::string_view unclear_alone[] = {"stop",       "remove",     "ストップ", "停止",     "中止",
                                              "いりません", "要りません", "いらない", "結構です", "削除",
                                              "拒否",       "やめて",     "迷惑",     "cancel"};
// Short words of the settings, such as 不要, mean mails only beside one of these.
constexpr std::string_view about_mails[] = {"メール",   "メルマガ", "dm",   "配信", "案内",
                                            "お知らせ", "登録",     "会員", "購読", "マガジン"};
constexpr std::size_t ambiguous_size = std::string_view("不要").size();

std::size_t Characters(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

bool HoldsOneOf(std::string_view text, auto const& words) {
    return std::any_of(std::begin(words), std::end(words),
                       [&](std::string_view word) { return text.find(word) != text.npos; });
}

bool Strip(std::string_view& text, auto const& words, bool at_start, bool whole_too) {
    for (std::string_view const word : words) {
        if (!(at_start ? text.starts_with(word) : text.ends_with(word))) continue;
        if (!whole_too && text.size() == word.size()) continue;
        at_start ? text.remove_prefix(word.size()) : text.remove_suffix(word.size());
        return true;
    }
    return false;
}

// 配信の停止を as 配信停止.
std::string WithoutParticles(std::string text) {
    for (std::string_view const particle : {"を", "の"})
        for (std::size_t at; (at = text.find(particle)) != text.npos;) text.erase(at, particle.size());
    return text;
}

// Whether a line is one of the bare words, with nothing around it that changes its meaning.
bool IsWholly(std::string const& line, std::vector<std::string> const& words) {
    std::string const bare = WithoutParticles(line);
    std::string_view text = bare;
    do {
        while (Strip(text, signs, true, true) || Strip(text, signs, false, true)) {
        }
        if (std::find(words.begin(), words.end(), text) != words.end()) return true;
    } while (Strip(text, polite_ends, false, false) || Strip(text, beginnings, true, false));
    return false;
}

class Reading {
  public:
    Reading(IncomingMail const& mail, RefusalWords const& words, bool answers_ours)
        : words_(words),
          answers_ours_(answers_ours),
          subject_(FoldSubject(mail.Messages()[0].Decoded("Subject"))),
          subject_word_(FoldedWithoutBlanks(subject_.text)),
          text_(TextOfMessage(mail)) {
        for (std::string_view const line : OwnLines(text_)) {
            lines_.push_back(FoldedWithoutBlanks(line));
            all_ += lines_.back() + "\n";
        }
        sign_.address = AddressIn(mail.Messages()[0].Field("From"));
    }

    RefusalSign Run() {
        FindOwnTokens();
        if (sign_.tokens.empty())
            FindWords();
        else
            sign_.certainty = Certainty::certain;
        return std::move(sign_);
    }

  private:
    void FindOwnTokens() {
        std::string places = subject_word_ + "\n";
        for (std::size_t i = 0; i < lines_.size() && i < token_lines; ++i) places += lines_[i] + "\n";
        sign_.tokens = FindTokens(places);
    }

    bool Is(Length const& length) const {
        return lines_.size() <= length.lines && Characters(all_) <= length.characters;
    }
    void Found(Certainty certainty, std::string_view words) {
        sign_.certainty = certainty;
        sign_.found = words;
    }

    void FindWords() {
        for (std::size_t i = 0; i < lines_.size() && i < first_lines; ++i) {
            if (lines_[i].find(refuse_tag) != std::string::npos) return Found(Certainty::certain, refuse_tag);
            if (!words_.Keyword().empty() && lines_[i].find(words_.Keyword()) != std::string::npos)
                return Found(Certainty::certain, words_.Keyword());
        }
        bool const in_subject = IsWholly(subject_word_, words_.BareWords());
        bool const in_line = !lines_.empty() && IsWholly(lines_[0], words_.BareWords());
        if (in_subject || in_line) {
            bool const certain = (in_subject || answers_ours_) && Is(short_length) && !IsDoubtful();
            return Found(certain ? Certainty::certain : Certainty::unclear,
                         in_subject ? subject_word_ : lines_[0]);
        }
        if (!Is(unclear_length)) return;
        // The subject of an answer is that of the other mail.
        if (!subject_.is_answer && MayRefuse(subject_word_)) return Found(Certainty::unclear, subject_word_);
        for (std::string const& line : lines_)
            if (MayRefuse(line)) return Found(Certainty::unclear, line);
    }

    // A "?" in an address of a page asks nothing.
    bool IsDoubtful() const {
        return std::any_of(lines_.begin(), lines_.end(), [](std::string const& line) {
            return line.find("http") == line.npos && HoldsOneOf(line, doubts);
        });
    }

    bool MayRefuse(std::string const& text) const {
        static std::vector<std::string> const alone(std::begin(unclear_alone), std::end(unclear_alone));
        if (HoldsOneOf(text, unclear_words) || IsWholly(text, alone)) return true;
        return std::any_of(words_.Words().begin(), words_.Words().end(), [&](std::string const& word) {
            return text.find(word) != text.npos &&
                   (word.size() > ambiguous_size || HoldsOneOf(text, about_mails));
        });
    }

    RefusalWords const& words_;
    bool const answers_ours_;
    FoldedSubject const subject_;
    std::string const subject_word_;
    std::string const text_;
    std::vector<std::string> lines_;  // its own, folded and without blanks
    std::string all_;
    RefusalSign sign_;
};

}  // namespace

RefusalWords::RefusalWords(std::string_view keyword, std::string_view list)
    : keyword_(FoldedWithoutBlanks(keyword)) {
    std::string folded = FoldedWithoutBlanks(list);
    if (folded.empty()) folded = FoldedWithoutBlanks(FindSetting("receive.refuse-words")->default_value);
    for (std::string_view rest = folded; !rest.empty();) {
        std::size_t const comma = std::min(rest.find(','), rest.size());
        if (comma > 0) bare_.push_back(WithoutParticles(words_.emplace_back(rest.substr(0, comma))));
        rest.remove_prefix(std::min(comma + 1, rest.size()));
    }
}

RefusalSign FindRefusal(IncomingMail const& mail, AnswerKind kind, RefusalWords const& words,
                        bool answers_ours) {
    if (kind != AnswerKind::other)
        return {Certainty::none, AddressIn(mail.Messages()[0].Field("From")), {}, {}};
    return Reading(mail, words, answers_ours).Run();
}

}  // namespace engine
