// Holding reference-counted objects from outside the engine.
#pragma once

#include <utility>

namespace QUIRVA {

template <class Interface>
class ComReceiver;

// Owns one reference on an object, or holds nothing. Copies take a reference of their own.
template <class Interface>
class ComPtr {
 public:
  ComPtr() = default;
  ComPtr(const ComPtr& other) : pointer_(other.pointer_) {
    if (pointer_ != nullptr) pointer_->AddRef();
  }
  ComPtr(ComPtr&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
  ComPtr& operator=(ComPtr other) noexcept {
    std::swap(pointer_, other.pointer_);
    return *this;
  }
  ~ComPtr() { Reset(); }

  // Takes over the reference that `pointer` carries and gives back the one held so far.
  void Attach(Interface* pointer) {
    if (Interface* old = std::exchange(pointer_, pointer); old != nullptr) old->Release();
  }
  void Reset() { Attach(nullptr); }
  // Hands the reference over to the caller.
  Interface* Detach() { return std::exchange(pointer_, nullptr); }

  // Stands for an out-argument: factory.CreateInstance(iid, pointer.Receive()). What it held is
  // given back, and the reference that comes out is owned at the end of the full expression.
  ComReceiver<Interface> Receive() { return ComReceiver<Interface>(*this); }

  Interface* get() const { return pointer_; }
  Interface* operator->() const { return pointer_; }
  Interface& operator*() const { return *pointer_; }
  explicit operator bool() const { return pointer_ != nullptr; }

 private:
  Interface* pointer_ = nullptr;
};

// What ComPtr::Receive hands to a call: the address of a typed or of an untyped pointer, whichever
// the call asks for.
template <class Interface>
class ComReceiver {
 public:
  explicit ComReceiver(ComPtr<Interface>& target) : target_(target) { target_.Reset(); }
  ~ComReceiver() {
    target_.Attach(untyped_ != nullptr ? static_cast<Interface*>(untyped_) : typed_);
  }
  ComReceiver(const ComReceiver&) = delete;
  ComReceiver& operator=(const ComReceiver&) = delete;

  operator Interface**() { return &typed_; }
  operator void**() { return &untyped_; }

 private:
  ComPtr<Interface>& target_;
  Interface* typed_ = nullptr;
  void* untyped_ = nullptr;
};

}  // namespace QUIRVA
