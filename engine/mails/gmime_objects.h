#pragma once

#include <gmime/gmime.h>

#include <memory>
#include <string>

// What all code that uses GMime needs.
namespace engine {

struct GObjectUnref {
    void operator()(void* object) const { g_object_unref(object); }
};
template <class Object>
using Owned = std::unique_ptr<Object, GObjectUnref>;

// Has to be called before anything else of GMime.
inline void BeginGMime() {
    static bool const begun = (g_mime_init(), true);
    static_cast<void>(begun);
}

inline std::string TextOr(char const* text, char const* other = "") { return text ? text : other; }

}  // namespace engine
