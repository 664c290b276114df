#include "engine/base/front_end.h"

#include "engine/base/failure.h"

namespace engine {

std::string FrontEnd::StartPassword() {
    throw Failure(Failure::password_required, "起動用パスワードが必要です。");
}

}  // namespace engine
