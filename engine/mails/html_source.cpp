#include "engine/mails/html_source.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <unordered_map>

#include "engine/base/crossing.h"
#include "engine/base/digest.h"
#include "engine/base/failure.h"
#include "engine/base/whole_file.h"
#include "engine/mails/html_addresses.h"
#include "engine/mails/html_cleaning.h"
#include "engine/mails/html_edit.h"
#include "engine/mails/html_tokens.h"
#include "engine/mails/mail_store.h"
#include "engine/mails/mail_text.h"
#include "engine/mails/received_text.h"
#include "tessaly/delivery.h"
#include "tessaly/text.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

constexpr std::string_view no_character = "\xEF\xBF\xBD";
constexpr std::string_view geta_mark = "\x81\xAC";
constexpr std::uintmax_t largest_picture = 2 << 20;

std::string ReadUtf8(std::string const& path) {
    std::string bytes = ReadWholeFile(path, "HTMLのファイル");
    if (bytes.find('\0') != bytes.npos)
        throw Failure(Failure::unsuitable_file, "HTMLのファイルではありません: " + path);
    if (bytes.starts_with(byte_order_mark)) bytes.erase(0, byte_order_mark.size());
    if (IsUtf8(bytes)) return bytes;
    std::string from_sjis = Out(bytes);
    if (from_sjis.find(no_character) != from_sjis.npos)
        throw Failure(Failure::unsuitable_file,
                      "HTMLのファイルの文字コードが分かりません。UTF-8にして保存してください: " + path);
    return from_sjis;
}

// One character in code page 932, or as a reference where a mail could not show it.
std::string CrossedCharacter(std::string_view utf8) {
    Crossed const crossed = IntoLibrary(utf8);
    bool const known =
        !crossed.no_form && (crossed.text == geta_mark ||
                             Mailable(CString(std::string_view(crossed.text)), false).View() != geta_mark);
    std::size_t at = 0;
    return known ? crossed.text : "&#" + std::to_string(std::uint32_t{platform::TakeUtf8(utf8, at)}) + ";";
}

std::string Crossed932(std::string_view utf8) {
    std::string result;
    std::unordered_map<std::string, std::string> known;
    for (std::size_t at = 0; at < utf8.size();) {
        auto const lead = static_cast<unsigned char>(utf8[at]);
        if (lead < 0x80) {
            result += utf8[at++];
            continue;
        }
        std::string const character(utf8.substr(at, lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2));
        auto const [place, is_new] = known.try_emplace(character);
        if (is_new) place->second = CrossedCharacter(character);
        result += place->second;
        at += character.size();
    }
    return result;
}

// "<%...%>" as HTML source has it, where it is a merge word.
std::string WithEscapedWords(std::string_view html) {
    constexpr std::size_t longest_word = 200;
    std::string result;
    std::size_t done = 0;
    for (std::size_t at = 0; (at = html.find("<%", at)) != html.npos;) {
        std::size_t const end = html.substr(0, at + longest_word).find("%>", at);
        if (end == html.npos || MailWordInsert::GetIDFromInsertString(CString(html.substr(at, end + 2 - at)),
                                                                      MailWordInsert::plain_text) < 0) {
            at += 2;
            continue;
        }
        result.append(html.substr(done, at - done))
            .append("&lt;")
            .append(html.substr(at + 1, end - at))
            .append("&gt;");
        at = done = end + 2;
    }
    return result.append(html.substr(done));
}

// The escaped words in the form of drafts, so that the same inspection finds them.
CString WithPlainWords(std::string const& html) {
    CString text{std::string_view(html)};
    text.Replace("&lt;%", "<%");
    text.Replace("%&gt;", "%>");
    return text;
}

bool IsRemote(std::string_view address) {
    return address.starts_with("http://") || address.starts_with("https://") || address.starts_with("//");
}

// Brings the pictures of a page into the mail.
class Pictures {
  public:
    Pictures(std::string_view page, std::string const& file, std::vector<std::string> const& extra,
             HtmlSource& source, std::vector<Finding>& findings)
        : page_(page),
          edit_(page),
          folder_(fs::path(file).parent_path()),
          source_(source),
          findings_(findings) {
        for (std::string const& picture : extra) extra_[fs::path(picture).filename().string()] = picture;
    }

    // The page with its tags made fit.
    std::string Rewritten() {
        HtmlTokens tokens(page_);
        HtmlTag tag;
        while (tokens.Next(tag)) {
            if (!tag.is_end && tag.name == "meta" && TellsCharset(tag))
                edit_.Replace({tag.begin, tag.end}, "");
            else
                for (HtmlAddress const& address : AddressesIn(page_, tag, NamesPicture)) Take(address.place);
        }
        for (auto const& [name, file] : extra_)
            throw Failure(Failure::invalid_value, "--inline の画像は、HTMLに名前がありません: " + file);
        return edit_.Whole();
    }

  private:
    bool TellsCharset(HtmlTag const& tag) const {
        if (tag.Find("charset")) return true;
        HtmlAttribute const* const header = tag.Find("http-equiv");
        return header && CString(page_.substr(header->begin, header->end - header->begin))
                                 .CompareNoCase("content-type") == 0;
    }
    void Find(HtmlPlace place, std::string text) {
        std::string_view const before = page_.substr(seen_, place.begin - seen_);
        line_ += static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
        if (std::size_t const end = before.rfind('\n'); end != before.npos) line_start_ = seen_ + end + 1;
        seen_ = place.begin;
        findings_.push_back({line_, place.begin - line_start_ + 1, std::move(text)});
    }

    void Take(HtmlPlace place) {
        std::string address = Out(page_.substr(place.begin, place.end - place.begin));
        if (address.empty() || address.starts_with("cid:") || address.starts_with("data:") ||
            address.find("<%") != address.npos || address.find("&lt;%") != address.npos)
            return;
        if (IsRemote(address)) {
            if (std::find(source_.remote.begin(), source_.remote.end(), address) == source_.remote.end())
                source_.remote.push_back(address);
            return;
        }
        auto const [known, is_new] = ids_.try_emplace(address);
        if (is_new) known->second = IdOf(FileOf(address), address, place);
        if (!known->second.empty()) edit_.Replace(place, "cid:" + known->second);
    }
    // The file of an address: one below the page's folder, or the extra picture of that name. Other files are
    // never taken, so that a foreign page cannot attach files of this machine.
    std::string FileOf(std::string address) {
        address = PercentDecoded(address.substr(0, address.find_first_of("?#")));
        std::replace(address.begin(), address.end(), '\\', '/');
        fs::path const named = fs::path(address).lexically_normal(), file = folder_ / named;
        std::error_code error;
        if (named.is_relative() && *named.begin() != ".." && fs::is_regular_file(file, error))
            return file.string();
        auto const extra = extra_.find(file.filename().string());
        if (extra == extra_.end()) return taken_[file.filename().string()];
        std::string found = taken_[extra->first] = extra->second;
        extra_.erase(extra);
        return found;
    }
    // Empty for a picture that cannot be attached.
    std::string IdOf(std::string const& file, std::string const& address, HtmlPlace place) {
        std::error_code error;
        if (file.empty() || !fs::is_regular_file(file, error)) {
            Find(place, "HTMLのフォルダーの中に画像がありません (ほかにあれば --inline で指定): " + address);
            return {};
        }
        if (!std::string_view(MediaTypeOf(file)).starts_with("image/")) {
            Find(place, "画像の種類が分かりません: " + address);
            return {};
        }
        if (fs::file_size(file, error) > largest_picture || error) {
            Find(place, "2MBより大きい画像です: " + address);
            return {};
        }
        std::string id = DigestOf(ReadWholeFile(file, "画像")) + "@tessaly";
        auto const same = [&](HtmlPicture const& picture) { return Out(picture.content_id) == id; };
        if (std::none_of(source_.pictures.begin(), source_.pictures.end(), same))
            source_.pictures.push_back({file, fs::path(file).filename().string(), Into(id, "Content-ID")});
        return id;
    }

    std::string_view page_;
    HtmlEdit edit_;
    fs::path folder_;
    HtmlSource& source_;
    std::vector<Finding>& findings_;
    std::map<std::string, std::string> extra_;          // by file name; those not yet named
    std::map<std::string, std::string> taken_;          // the others
    std::unordered_map<std::string, std::string> ids_;  // by address
    std::size_t seen_ = 0, line_ = 1, line_start_ = 0;
};

}  // namespace

HtmlSource ReadHtml(std::string const& file, std::vector<std::string> const& extra,
                    std::vector<Finding>& findings) {
    for (std::string const& picture : extra)
        if (!fs::is_regular_file(picture))
            throw Failure(Failure::file_not_found, "--inline の画像がありません: " + picture);
    std::string const crossed = Crossed932(ReadUtf8(file));
    InspectText(WithPlainWords(crossed), findings);
    CString const page = CrLfConverter(Mailable(CString(std::string_view(WithEscapedWords(crossed))), false));
    HtmlSource source;
    CleanPage const clean = WithoutActiveContent(page.View());
    source.removed = clean.Told();
    std::string const rewritten = Pictures(clean.page, file, extra, source, findings).Rewritten();
    source.html = CString(std::string_view(rewritten));
    if (CString(source.html).Trim().IsEmpty())
        throw Failure(Failure::incomplete_mail, "HTMLに中身がありません: " + file);
    return source;
}

}  // namespace engine
