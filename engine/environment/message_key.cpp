#include "engine/environment/message_key.h"

#include <openssl/rand.h>

#include <array>
#include <filesystem>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/base/failure.h"
#include "engine/base/file_sum.h"
#include "engine/base/hex_digits.h"
#include "engine/base/whole_file.h"
#include "engine/base/whole_number.h"
#include "engine/environment/table_reading.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

constexpr char const* first_line = "tessaly-key 1";
constexpr std::size_t key_size = 32;

std::string PathOf(std::string const& data_directory) { return data_directory + "/" + message_key_file; }

// Empty for another text.
std::string FromHex(std::string_view digits) {
    std::string bytes;
    if (digits.size() != 2 * key_size) return bytes;
    for (std::size_t at = 0; at < digits.size(); at += 2) {
        auto const byte = WholeNumber<unsigned>(digits.substr(at, 2), 16);
        if (!byte) return {};
        bytes += static_cast<char>(*byte);
    }
    return bytes;
}

std::string NewKey() {
    std::array<unsigned char, key_size> bytes{};
    if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1)
        throw Failure(Failure::operation_failed, "乱数を作れません。");
    return {reinterpret_cast<char const*>(bytes.data()), bytes.size()};
}

// Another command may have made it since.
void MakeKey(std::string const& data_directory) {
    if (ReadMessageKey(data_directory).state != MessageKey::none) return;
    std::string const text = Sealed(std::string(first_line) + "\nkey " + HexDigits(NewKey()) + "\n");
    if (!ReplaceFile(PathOf(data_directory), text, Readers::owner))
        throw Failure(Failure::not_written, "書き込めません: " + PathOf(data_directory));
}

}  // namespace

MessageKey ReadMessageKey(std::string const& data_directory) {
    std::error_code error;
    if (!fs::exists(PathOf(data_directory), error) && !error) return {};
    try {
        auto const lines = Unsealed(ReadWholeFile(PathOf(data_directory), "署名の鍵"));
        constexpr std::string_view key_word = "key ";
        if (!lines || lines->size() != 2 || lines->front() != first_line ||
            !lines->back().starts_with(key_word))
            return {MessageKey::damaged};
        std::string key = FromHex(std::string_view(lines->back()).substr(key_word.size()));
        return key.empty() ? MessageKey{MessageKey::damaged} : MessageKey{MessageKey::whole, std::move(key)};
    } catch (Failure const&) {
        return {MessageKey::damaged};
    }
}

std::string MessageKeyForSending(Session& session) {
    std::string const& data = session.DataDirectory();
    std::string const unsigned_mails =
        "メールに署名をつけずに送ります。返ってきたメールは送信履歴で確かめます。";
    MessageKey key = ReadMessageKey(data);
    if (key.state == MessageKey::none) try {
            session.WhileOthersWait([&] { MakeKey(data); });
            key = ReadMessageKey(data);
        } catch (Failure const& failure) {
            if (failure.GetKind() == Failure::stopped) throw;
            session.Front().Notice("署名の鍵を作れません。" + unsigned_mails + "\n" + failure.what());
            return {};
        }
    if (key.state == MessageKey::damaged)
        session.Front().Notice("署名の鍵が壊れています。" + unsigned_mails + "「tessaly env repair " +
                               session.EnvFile() + "」で直せます: " + PathOf(data));
    return key.bytes;
}

std::string PutAsideMessageKey(Session const& session) {
    std::string const file = PathOf(session.DataDirectory());
    std::string kept = KeepDamaged(file);
    RemoveTree(file);
    return kept;
}

}  // namespace engine
