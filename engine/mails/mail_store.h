#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/environment/data_paths.h"
#include "engine/environment/listed_mail.h"
#include "engine/environment/session.h"
#include "tessaly/delivery.h"
#include "tessaly/mailstore.h"

// The mails that are stored in an environment: reading one, storing one as a whole, its kind and its
// attachments.
namespace engine {

inline constexpr int terminal_count = 5;  // those with texts and attachments of their own, by TermType
inline constexpr std::array<char const*, terminal_count> terminal_names = {"pc", "nd", "at", "sb", "wl"};

inline char const* NameOf(TermType terminal) { return terminal_names[static_cast<std::size_t>(terminal)]; }
// By its short name; throws Failure for an unknown name.
TermType TerminalNamed(std::string_view name);

// The kinds of mails: text for all terminals, HTML for the PC, HTML for mobile terminals.
inline constexpr char kind_text = 'N', kind_html = 'Y', kind_mobile_html = 'M';
char KindOf(Session& session, int id);
// Whether a terminal's body in a mail of that kind is the text of a MIME mail; whether a terminal can have
// attachments of its own.
bool HoldsMime(char kind, int terminal);
bool HoldsAttachments(char kind, int terminal);

// Texts, names and attachment lists of a mail; the attachments themselves stay where they are.
OneMail ReadMail(Session& session, int id);
// An attachment's content in Base64, lines of 76 characters. Throws Failure.
CString AttachmentText(Session& session, int id, TermType terminal, CString const& name);

// Signs that no attachment has in its name, since they are special in file names of some system.
inline constexpr std::string_view not_for_names = "\\/:*?\"<>|";
// Files that are attached: what a mail's lists hold of one, and the file that it comes from.
struct NewAttachment {
    TermType terminal;
    AttachData entry;  // name as the recipient sees it, and media type
    std::string file;  // host path
};
// By the extension of a file's name; application/octet-stream for an unknown one.
char const* MediaTypeOf(std::string const& file);
// The extension, with its dot, of a file of a media type in lower case; empty for an unknown one.
std::string ExtensionFor(std::string_view media_type);
inline constexpr std::uintmax_t largest_attachment = 2 << 20;  // bytes
// Checks a file's name and size; throws Failure.
NewAttachment AttachmentOf(TermType terminal, std::string const& file);

// Makes a mail (`id` none), or changes one: `change` gets its texts and attachment lists (empty for a new
// mail) and may change all of them; a list may also name `added` files. The mail becomes one of `kind`. All
// of it reaches the disk, or nothing does. The session is one for changing. Result: the mail's ID. Throws
// Failure.
int StoreMail(Session& session, std::optional<int> id, char kind, std::vector<NewAttachment> const& added,
              std::function<void(OneMail&)> const& change);
// A new mail with the texts, attachments and conditions of another, a deleted one too, whose recipients are
// not yet chosen. The session is one for changing. Result: its ID. Throws Failure.
int CopyMail(Session& session, int id);

}  // namespace engine
