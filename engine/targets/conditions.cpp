#include "engine/targets/conditions.h"

#include <optional>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "tessaly/storage.h"
#include "tessaly/text.h"

namespace engine {
namespace {

constexpr std::string_view between_bounds = "..";
constexpr char const* how_to_write =
    "条件は「列=値」「列!=値」「列:下限..上限」「列!:下限..上限」の形で書きます: ";

constexpr EC_TAB_NUM TabAt(int tab) { return static_cast<EC_TAB_NUM>(tab); }
constexpr EC_CON_NUM ConditionAt(int condition) { return static_cast<EC_CON_NUM>(condition); }

bool IsUsed(ExtractAction& set, int tab, int number) {
    return set.CheckExtractEffective(TabAt(tab), ConditionAt(number)) == ExtractAction::slot_used;
}

bool IsDate(Element const& element) {
    return element.number == customers::element_birthday || element.type == storage::mydb_date;
}

// In words that can be written in a condition, as long as the number is one.
std::string NameOf(Elements const& elements, int number) {
    if (customers::IsElement(number) && !elements.At(number).title.empty()) return elements.At(number).title;
    if (!customers::IsAttribute(number)) return std::to_string(number);
    return std::string("拡張属性") + static_cast<char>('A' + (number - customers::element_first_attribute));
}

// --- Reading ---

struct Written {
    std::string_view title;
    bool negated;
    bool range;
    std::string_view rest;
};

// A title may hold the signs too, so the first sign behind a known title counts.
Written Divide(Elements const& elements, std::string_view text) {
    constexpr std::string_view signs = "!=:";
    std::optional<Written> unknown;
    for (std::size_t at = text.find_first_of(signs); at != text.npos;
         at = text.find_first_of(signs, at + 1)) {
        bool const negated = text[at] == '!';
        std::size_t const sign = negated ? at + 1 : at;
        if (sign == text.size() || (text[sign] != '=' && text[sign] != ':')) continue;
        Written const written{text.substr(0, at), negated, text[sign] == ':', text.substr(sign + 1)};
        if (elements.Find(written.title) >= 0) return written;
        if (!unknown) unknown = written;
    }
    if (!unknown) throw Failure(Failure::invalid_condition, how_to_write + std::string(text));
    return *unknown;
}

// Each takes a value, and the comma behind it, away from `text`. Result: whether another value follows.
bool TakePlain(std::string_view& text, std::string& value) {
    std::size_t const comma = text.find(',');
    value = text.substr(0, comma);
    if (comma == text.npos) return false;
    text.remove_prefix(comma + 1);
    return true;
}

bool TakeQuoted(std::string_view& text, std::string& value) {
    std::string_view const whole = text;
    do {
        text.remove_prefix(1);
        std::size_t const quote = text.find('"');
        if (quote == text.npos)
            throw Failure(Failure::invalid_condition, "引用符 (\") が閉じていません: " + std::string(whole));
        value += text.substr(0, quote);
        text.remove_prefix(quote + 1);
        if (text.starts_with('"')) value += '"';
    } while (text.starts_with('"'));
    if (text.empty()) return false;
    if (text[0] != ',')
        throw Failure(Failure::invalid_condition,
                      "閉じた引用符 (\") の後ろにはカンマが要ります: " + std::string(whole));
    text.remove_prefix(1);
    return true;
}

std::vector<std::string> ValuesIn(std::string_view text) {
    std::vector<std::string> values;
    for (bool more = true; more;) {
        values.emplace_back();
        more = text.starts_with('"') ? TakeQuoted(text, values.back()) : TakePlain(text, values.back());
    }
    return values;
}

// The date with as many parts as the text has: "2004/5" gives "2004/05".
std::optional<std::string> PartialDate(std::string_view text) {
    constexpr std::string_view dividers = "// ::";
    std::size_t parts = 1;
    bool digit = false;
    for (char const c : text) {
        bool const divides = digit && parts <= dividers.size() && c == dividers[parts - 1];
        if (divides) ++parts;
        digit = c >= '0' && c <= '9';
        if (!digit && !divides) return {};
    }
    char date[text::date_data_size];
    if (!digit || ReFormat_DateData(std::string(text).c_str(), date, 0) != static_cast<int>(parts)) return {};
    return std::string(date, text::bytes_of_date_parts[parts]);
}

// A value or bound as the library compares it.
CString Comparable(Elements const& elements, Element const& element, std::string const& value) {
    if (value.empty()) return {};
    std::string const name = NameOf(elements, element.number);
    if (value.find_first_of("\r\n") != value.npos)
        throw Failure(Failure::invalid_condition, name + ": 値に改行は入れられません。");
    if (IsDate(element)) {
        auto const date = PartialDate(value);
        if (!date)
            throw Failure(Failure::not_a_date,
                          name + ": 日付ではありません (例: 2004、2004/5、2004/5/31): " + value);
        return date->c_str();
    }
    CString text = Into(value, name);
    if (element.type == storage::mydb_number && CheckNumberData(text) != 1)
        throw Failure(Failure::not_a_number, name + ": 数 (9桁まで) ではありません: " + value);
    return text;
}

// As the stored values stand side by side; an empty one is still a value then.
CString Quoted(CString const& value, bool alone) {
    if (value.IsEmpty()) return alone ? "" : "\"\"";
    if (value.View().find_first_of(",\"") == std::string_view::npos) return value;
    CString doubled = value;
    doubled.Replace("\"", "\"\"");
    return "\"" + doubled + "\"";
}

void ReadRange(Elements const& elements, Element const& element, Written const& written,
               OneExtractCondition& condition) {
    std::size_t const dots = written.rest.find(between_bounds);
    if (dots == written.rest.npos)
        throw Failure(
            Failure::invalid_condition,
            "範囲は「下限..上限」の形で書きます (片方は空にできます): " + std::string(written.rest));
    condition.Mode = "R";
    condition.RangeFlag = written.negated ? "N" : "Y";
    condition.RangeLow = Comparable(elements, element, std::string(written.rest.substr(0, dots)));
    condition.RangeHigh =
        Comparable(elements, element, std::string(written.rest.substr(dots + between_bounds.size())));
    if (written.negated && condition.RangeLow.IsEmpty() && condition.RangeHigh.IsEmpty())
        throw Failure(Failure::invalid_condition, "両端の空いた範囲の外には、だれもいません。");
}

void ReadValues(Elements const& elements, Element const& element, Written const& written,
                OneExtractCondition& condition) {
    std::vector<std::string> const values = ValuesIn(written.rest);
    condition.Mode = "E";
    condition.EqualFlag = written.negated ? "N" : "Y";
    for (std::string const& value : values)
        condition.Values.Add(Quoted(Comparable(elements, element, value), values.size() == 1));
}

// --- Showing ---

std::string Shown(CString const& value) { return "「" + Out(OnOneLine(value.View())) + "」"; }

std::string DescribeValues(CArray<CString, CString> const& values, bool text, bool negated) {
    std::string named;
    bool empty = false;
    for (CString const& value : values) {
        if (value.IsEmpty())
            empty = true;
        else
            named += (named.empty() ? "" : "か") + Shown(value);
    }
    bool const contains = text && !named.empty();
    return std::string(empty ? "空" : "") + (empty && !named.empty() ? "、または" : "") + named +
           (contains ? "を含む" : "") + (negated ? (contains ? "人を除く" : "の人を除く") : "");
}

std::string DescribeRange(OneExtractCondition const& condition) {
    if (condition.RangeLow.IsEmpty() && condition.RangeHigh.IsEmpty()) return "空でない";
    return (condition.RangeLow.IsEmpty() ? "" : Shown(condition.RangeLow) + "以上") +
           (condition.RangeHigh.IsEmpty() ? "" : Shown(condition.RangeHigh) + "以下") +
           (condition.RangeFlag == "Y" ? "" : "の範囲の外");
}

std::string Describe(Elements const& elements, ExtractAction& set, int tab, int number) {
    OneExtractCondition condition;
    set.GetExtractConditionFromMemoryToStruct(condition, TabAt(tab), ConditionAt(number));
    int const element = condition.ElementNumber;
    std::string const subject = NameOf(elements, element) + "が";
    if (condition.Mode == "R") return subject + DescribeRange(condition);
    // As they are compared; the structure's values keep their quotes.
    CArray<CString, CString> values;
    SplitString(set.GetStringElement(ExtractAction::column_values, tab * extract::ec_con_count + number),
                values, ",", '"');
    bool const text = customers::IsElement(element) && !IsDate(elements.At(element)) &&
                      elements.At(element).type == storage::mydb_string;
    return subject + DescribeValues(values, text, condition.EqualFlag != "Y");
}

}  // namespace

char const* const condition_help =
    "条件の書き方:\n"
    "  列=値,値      どれかの値を含む (数と日付の列では、等しい)\n"
    "  列!=値,値     どの値も含まない\n"
    "  列=           空である (列!= は空でない)\n"
    "  列:下限..上限  範囲の中 (片方は空にできます。列!:下限..上限 は範囲の外)\n"
    "  カンマのある値は引用符で囲みます: '会社名=\"A,B\",C'。日付は 2004 や 2004/5 でもかまいません。\n"
    "  --where はすべてが成り立つ人を選びます。--or は別の条件を始め、後ろの --where はそこに加わります。\n";

OneExtractCondition ReadCondition(Elements const& elements, std::string_view text) {
    Written const written = Divide(elements, text);
    int const number = elements.Named(written.title);
    if (!IsForPeople(number))
        throw Failure(Failure::invalid_condition, "この列は条件に使えません: " + std::string(written.title));
    Element const& element = elements.At(number);
    OneExtractCondition condition;
    condition.ElementNumber = number;
    (written.range ? ReadRange : ReadValues)(elements, element, written, condition);
    return condition;
}

void FillConditions(Elements const& elements, std::vector<StatedCondition> const& conditions,
                    ExtractAction& set) {
    int tab = 0, number = 0;
    for (StatedCondition const& stated : conditions) {
        if (stated.starts_tab && number > 0) {
            ++tab;
            number = 0;
        }
        if (tab == extract::ec_tab_count)
            throw Failure(Failure::invalid_condition, "--or で分けた条件のまとまりは" +
                                                          std::to_string(extract::ec_tab_count) +
                                                          "つまでです: " + stated.text);
        if (number == extract::ec_con_count)
            throw Failure(Failure::invalid_condition, "1つのまとまりに書ける条件は" +
                                                          std::to_string(extract::ec_con_count) +
                                                          "つまでです: " + stated.text);
        OneExtractCondition condition = ReadCondition(elements, stated.text);
        if (set.SetExtractConditionFromStructToMemory(condition, TabAt(tab), ConditionAt(number++)) < 0)
            throw Failure(Failure::operation_failed,
                          "条件を決められません: " + stated.text + "\n" + TextOf(set.GetErrMsg()));
    }
}

bool HasConditions(ExtractAction& set) {
    for (int tab = 0; tab < extract::ec_tab_count; ++tab)
        for (int number = 0; number < extract::ec_con_count; ++number)
            if (IsUsed(set, tab, number)) return true;
    return false;
}

std::vector<std::string> DescribeConditions(Elements const& elements, ExtractAction& set) {
    std::vector<std::string> lines;
    for (int tab = 0; tab < extract::ec_tab_count; ++tab) {
        std::string line;
        for (int number = 0; number < extract::ec_con_count; ++number)
            if (IsUsed(set, tab, number))
                line += (line.empty() ? "" : " かつ ") + Describe(elements, set, tab, number);
        if (!line.empty()) lines.push_back(line);
    }
    return lines;
}

std::string DescribeInOneLine(Elements const& elements, ExtractAction& set) {
    std::vector<std::string> const lines = DescribeConditions(elements, set);
    std::string whole;
    for (std::string const& line : lines)
        whole += (whole.empty() ? "" : " または ") + (lines.size() > 1 ? "(" + line + ")" : line);
    return whole;
}

}  // namespace engine
