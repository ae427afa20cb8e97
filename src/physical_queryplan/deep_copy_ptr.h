// An owning pointer with value semantics.
#pragma once

#include <memory>
#include <stdexcept>
#include <utility>

namespace utilities {

// Owns a T; copying copies the T, comparing compares the Ts. T may be incomplete where the pointer
// is declared, which is what lets plan types hold themselves.
//
// Only a moved-from or default-made pointer is empty. Reading through an empty one throws
// std::logic_error: an incomplete plan is refused, never followed.
//
// Copying and destroying recurse through the pointees: a chain of n pointers takes n stack frames.
template <typename T>
class DeepCopyPtr {
 public:
  DeepCopyPtr() = default;
  DeepCopyPtr(T const& pointee) : pointee_(std::make_unique<T>(pointee)) {}        // NOLINT
  DeepCopyPtr(T&& pointee) : pointee_(std::make_unique<T>(std::move(pointee))) {}  // NOLINT

  DeepCopyPtr(DeepCopyPtr const& other)
      : pointee_(other.pointee_ ? std::make_unique<T>(*other.pointee_) : nullptr) {}
  DeepCopyPtr(DeepCopyPtr&&) noexcept = default;
  DeepCopyPtr& operator=(DeepCopyPtr const& other) {
    // Copied before anything is destroyed: `other` may lie inside this pointee.
    DeepCopyPtr copy(other);
    pointee_.swap(copy.pointee_);
    return *this;
  }
  DeepCopyPtr& operator=(DeepCopyPtr&& other) noexcept {
    // Taken before anything is destroyed, for the same reason.
    std::unique_ptr<T> taken = std::move(other.pointee_);
    pointee_.swap(taken);
    return *this;
  }
  ~DeepCopyPtr() = default;

  T const& operator*() const {
    check();
    return *pointee_;
  }
  T& operator*() {
    check();
    return *pointee_;
  }
  T const* operator->() const {
    check();
    return pointee_.get();
  }
  T* operator->() {
    check();
    return pointee_.get();
  }

  friend bool operator==(DeepCopyPtr const& left, DeepCopyPtr const& right) {
    if (!left.pointee_ || !right.pointee_) return left.pointee_ == right.pointee_;
    return *left.pointee_ == *right.pointee_;
  }

 private:
  void check() const {
    if (!pointee_) throw std::logic_error("incomplete plan: a child is missing");
  }

  std::unique_ptr<T> pointee_;
};

}  // namespace utilities
