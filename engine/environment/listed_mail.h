#pragma once

#include <string>

#include "engine/environment/session.h"

// What the list of mails tells of one mail.
namespace engine {

// Throws Failure unless there is such a mail; a deleted one only if it is allowed.
enum class Deleted { refuse, allow };
void RequireMail(Session& session, int id, Deleted deleted = Deleted::refuse);
bool IsDeleted(Session& session, int id);
// "3: 春のご案内"
std::string NameOfMail(Session& session, int id);

}  // namespace engine
