#pragma once

namespace platform {

// A member whose type is only declared in the class's header: a value on the free store, copied with its
// owner and never null. Constructors, assignment and destructor of the owner stand in its source.
template <class Value>
class Hidden {
  public:
    Hidden() : value_(new Value) {}
    Hidden(Hidden const& other) : value_(new Value(*other.value_)) {}
    Hidden& operator=(Hidden const& other) {
        *value_ = *other.value_;
        return *this;
    }
    ~Hidden() { delete value_; }

    Value* operator->() noexcept { return value_; }
    Value const* operator->() const noexcept { return value_; }
    Value& operator*() noexcept { return *value_; }
    Value const& operator*() const noexcept { return *value_; }

  private:
    Value* value_;
};

}  // namespace platform
