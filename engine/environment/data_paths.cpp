#include "engine/environment/data_paths.h"

namespace engine {

std::string MailFolder(int id) { return "MAIL/" + std::to_string(id); }

std::string MailFile(int id, std::string_view kind) {
    return MailFolder(id) + "/" + std::string(kind) + std::to_string(id) + ".dat";
}

}  // namespace engine
