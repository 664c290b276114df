#pragma once

namespace platform {

// Frees the object of a std::unique_ptr by a function of a C library:
//
//     std::unique_ptr<BIO, FreedBy<BIO_free_all>>
template <auto free>
struct FreedBy {
    template <class Type>
    void operator()(Type* object) const {
        free(object);
    }
};

}  // namespace platform
