#include "support/failing_allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

thread_local bool armed = false;
thread_local std::size_t counted = 0;
thread_local std::size_t failing = 0;
thread_local bool failing_on = false;  // Those behind it, too.
std::atomic<long> live{0};

void* allocate(std::size_t size, std::size_t alignment) {
  if (armed && (++counted == failing || (failing_on && counted > failing))) throw std::bad_alloc();
  std::size_t const rounded = (size + alignment - 1) / alignment * alignment;
  void* const block = alignment <= alignof(std::max_align_t)
                          ? std::malloc(size == 0 ? 1 : size)
                          : std::aligned_alloc(alignment, rounded == 0 ? alignment : rounded);
  if (!block) throw std::bad_alloc();
  live.fetch_add(1, std::memory_order_relaxed);
  return block;
}

void* allocate_or_null(std::size_t size) noexcept {
  void* const block = std::malloc(size == 0 ? 1 : size);
  if (block) live.fetch_add(1, std::memory_order_relaxed);
  return block;
}

void release(void* block) noexcept {
  if (!block) return;
  live.fetch_sub(1, std::memory_order_relaxed);
  std::free(block);
}

}  // namespace

namespace failing_allocations {

void arm(std::size_t number) {
  counted = 0;
  failing = number;
  failing_on = false;
  armed = true;
}

void arm_from(std::size_t number) {
  arm(number);
  failing_on = true;
}

std::size_t disarm() {
  armed = false;
  return counted;
}

long live_blocks() {
  return live.load(std::memory_order_relaxed);
}

}  // namespace failing_allocations

void* operator new(std::size_t size) {
  return allocate(size, alignof(std::max_align_t));
}
void* operator new[](std::size_t size) {
  return allocate(size, alignof(std::max_align_t));
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  return allocate(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
  return allocate(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
  return allocate_or_null(size);
}
void* operator new[](std::size_t size, std::nothrow_t const&) noexcept {
  return allocate_or_null(size);
}
void operator delete(void* block) noexcept {
  release(block);
}
void operator delete[](void* block) noexcept {
  release(block);
}
void operator delete(void* block, std::size_t) noexcept {
  release(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  release(block);
}
void operator delete(void* block, std::align_val_t) noexcept {
  release(block);
}
void operator delete[](void* block, std::align_val_t) noexcept {
  release(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
  release(block);
}
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept {
  release(block);
}
void operator delete(void* block, std::nothrow_t const&) noexcept {
  release(block);
}
void operator delete[](void* block, std::nothrow_t const&) noexcept {
  release(block);
}
