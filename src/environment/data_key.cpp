#include "environment/data_key.h"

#include "tessaly/environment/env_manager.h"

namespace environment {

DataKey::DataKey(EnvManager& env) { TakeFrom(env); }

DataKey::DataKey(EnvManager& env, int use_key, char const* key) {
    if (use_key && env.GetEnvType() != EnvManager::type_plain) {
        keyed_ = key != nullptr;
        text_ = key;
    } else {
        TakeFrom(env);
    }
}

void DataKey::TakeFrom(EnvManager& env) {
    if (env.GetEnvType() == EnvManager::type_plain) return;
    text_ = env.GetDBKey();
    keyed_ = true;
    known_ = !text_.IsEmpty();
}

}  // namespace environment
