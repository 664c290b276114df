#pragma once

namespace platform {

// Lets a std::unique_ptr free its object by a function of a C library: std::unique_ptr<BIO,
// FreedBy<BIO_free_all>>.
template <auto free>
struct FreedBy {
    template <class Type>
    void operator()(Type* object) const {
        free(object);
    }
};

}  // namespace platform
