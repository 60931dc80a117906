#include "support/allocations.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

thread_local std::uint64_t allocations = 0;

void* Allocate(std::size_t size) {
  ++allocations;
  if (void* memory = std::malloc(size != 0 ? size : 1)) return memory;
  throw std::bad_alloc();
}

void* Allocate(std::size_t size, std::align_val_t alignment) {
  ++allocations;
  const auto bytes = static_cast<std::size_t>(alignment);
  if (void* memory = std::aligned_alloc(bytes, (size + bytes - 1) / bytes * bytes)) return memory;
  throw std::bad_alloc();
}

}  // namespace

std::uint64_t AllocationsOfThisThread() {
  return allocations;
}

// The other forms of new and delete call these.
void* operator new(std::size_t size) {
  return Allocate(size);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  return Allocate(size, alignment);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
  std::free(memory);
}
