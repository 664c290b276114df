#pragma once

#include <string>
#include <string_view>

// Paths below the data directory of an environment.
namespace engine {

inline constexpr char const* settings_file = "systemoption.dat";
inline constexpr char const* customers_file = "DB/database.dat";
inline constexpr char const* testers_file = "DB/testmailinginfo.dat";
inline constexpr char const* mail_list_file = "MAIL/maillist.dat";
inline constexpr char const* groups_file = "EXTRACT/extrlist.dat";
// Whom nothing is sent to: no table, and no part of a change that is undone or of a restore.
inline constexpr char const* consent_folder = "CONSENT";
inline constexpr char const* refusals_file = "CONSENT/refusals.tsv";
inline constexpr char const* suspensions_file = "CONSENT/suspended.tsv";

// Of one mail: its folder "MAIL/3", and a file in it, MailFile(3, "meli") being "MAIL/3/meli3.dat".
std::string MailFolder(int id);
std::string MailFile(int id, std::string_view kind);

}  // namespace engine
