// One owner for every kind of system object: the traits say what the invalid value is and how to
// close. Moves hand over; a full owner that is assigned to closes what it held.
#ifndef SCANTK_PLATFORM_OWNER_H_
#define SCANTK_PLATFORM_OWNER_H_

#include <utility>

namespace scantk {

// Traits: `using Value`, `static Value Invalid()`, `static void Close(Value)`.
template <class Traits>
class Owner {
 public:
  using Value = typename Traits::Value;

  Owner() = default;
  explicit Owner(Value value) : value_(value) {}
  Owner(Owner&& other) noexcept : value_(other.Release()) {}
  Owner& operator=(Owner&& other) noexcept {
    if (this != &other) Reset(other.Release());
    return *this;
  }
  Owner(const Owner&) = delete;
  Owner& operator=(const Owner&) = delete;
  ~Owner() { Reset(); }

  Value Get() const { return value_; }
  explicit operator bool() const { return value_ != Traits::Invalid(); }
  Value Release() { return std::exchange(value_, Traits::Invalid()); }
  void Reset(Value value = Traits::Invalid()) {
    Value old = std::exchange(value_, value);
    if (old != Traits::Invalid() && old != value) Traits::Close(old);
  }

 private:
  Value value_ = Traits::Invalid();
};

// A counted reference to a component's object.
template <class Interface>
class ComPtr {
 public:
  ComPtr() = default;
  ComPtr(const ComPtr& other) : pointer_(other.pointer_) {
    if (pointer_) pointer_->AddRef();
  }
  ComPtr(ComPtr&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
  ComPtr& operator=(ComPtr other) noexcept {
    std::swap(pointer_, other.pointer_);
    return *this;
  }
  ~ComPtr() { Reset(); }

  void Reset() {
    if (Interface* old = std::exchange(pointer_, nullptr)) old->Release();
  }
  Interface* Get() const { return pointer_; }
  Interface* operator->() const { return pointer_; }
  explicit operator bool() const { return pointer_ != nullptr; }
  // For functions that hand out a reference through a pointer; drops what was held.
  Interface** Out() {
    Reset();
    return &pointer_;
  }
  void** OutVoid() { return reinterpret_cast<void**>(Out()); }

 private:
  Interface* pointer_ = nullptr;
};

}  // namespace scantk

#endif  // SCANTK_PLATFORM_OWNER_H_
