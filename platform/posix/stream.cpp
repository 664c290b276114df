#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "platform/file.h"
#include "platform/posix/descriptor.h"

namespace platform {
namespace posix {
namespace {

// A table file is read and written in blocks of this size.
constexpr std::size_t buffer_size = 256 * 1024;

struct StreamState {
    Descriptor file;
    bool failed = false;
    std::unique_ptr<char[]> buffer = std::make_unique_for_overwrite<char[]>(buffer_size);
};

ssize_t Read(void* cookie, char* out, std::size_t size) {
    return ReadSome(static_cast<StreamState*>(cookie)->file.Get(), out, size);
}

// The C library expects 0, not -1, for a failure.
ssize_t Write(void* cookie, char const* content, std::size_t size) {
    auto& state = *static_cast<StreamState*>(cookie);
    if (state.failed) return 0;
    std::size_t const written = WriteAll(state.file.Get(), {content, size});
    state.failed = written < size;
    return static_cast<ssize_t>(written);
}

int Seek(void* cookie, off64_t* offset, int from) {
    off64_t const place = lseek64(static_cast<StreamState*>(cookie)->file.Get(), *offset, from);
    if (place < 0) return -1;
    *offset = place;
    return 0;
}

int Close(void* cookie) {
    std::unique_ptr<StreamState> const state(static_cast<StreamState*>(cookie));
    bool const closed = state->file.Close();
    return closed && !state->failed ? 0 : -1;
}

// -1 for a text that is not a mode.
int OpenFlags(char const* mode) {
    bool const both = std::strchr(mode, '+') != nullptr;
    switch (*mode) {
        case 'r': return both ? O_RDWR : O_RDONLY;
        case 'w': return (both ? O_RDWR : O_WRONLY) | O_CREAT | O_TRUNC;
        case 'a': return (both ? O_RDWR : O_WRONLY) | O_CREAT | O_APPEND;
        default: return -1;
    }
}

}  // namespace

std::FILE* MakeStream(Descriptor descriptor, char const* mode) {
    if (!descriptor) return nullptr;
    auto state = std::make_unique<StreamState>();
    state->file = std::move(descriptor);
    std::FILE* stream = fopencookie(state.get(), mode, {Read, Write, Seek, Close});
    if (!stream) return nullptr;
    std::setvbuf(stream, state->buffer.get(), _IOFBF, buffer_size);
    static_cast<void>(state.release());  // Close deletes it
    return stream;
}

}  // namespace posix

std::FILE* OpenStream(char const* path, char const* mode) {
    int const flags = mode ? posix::OpenFlags(mode) : -1;
    if (flags < 0) {
        errno = EINVAL;
        return nullptr;
    }
    return posix::MakeStream(posix::OpenPath(path, flags), mode);
}

bool CloseStream(std::FILE* stream) { return stream && std::fclose(stream) == 0; }

}  // namespace platform
