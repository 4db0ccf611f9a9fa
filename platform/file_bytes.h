#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iosfwd>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "platform/atomic_file.h"

namespace tonalith {

// Memory for large amounts of bytes that are written once: not cleared, and in large pages where the system has them.
template <typename T>
struct UnclearedAllocator {
  using value_type = T;

  UnclearedAllocator() = default;
  template <typename Other>
  UnclearedAllocator(const UnclearedAllocator<Other>&) {}

  T* allocate(std::size_t count) {
    if (count > (~std::size_t{0} - kPage) / sizeof(T)) throw std::bad_alloc();
    const std::size_t size = (count * sizeof(T) + kPage - 1) / kPage * kPage;
    void* memory = size < kLarge ? std::malloc(count * sizeof(T)) : std::aligned_alloc(kPage, size);
    if (!memory) throw std::bad_alloc();
    if (size >= kLarge) ::madvise(memory, size, MADV_HUGEPAGE);
    return static_cast<T*>(memory);
  }
  void deallocate(T* memory, std::size_t) { std::free(memory); }
  // What a vector adds when it grows stays as the memory was.
  template <typename Made>
  void construct(Made* place) {
    ::new (static_cast<void*>(place)) Made;
  }
  template <typename Made, typename... Arguments>
  void construct(Made* place, Arguments&&... arguments) {
    ::new (static_cast<void*>(place)) Made(std::forward<Arguments>(arguments)...);
  }
  bool operator==(const UnclearedAllocator&) const { return true; }

 private:
  static constexpr std::size_t kPage = std::size_t{2} << 20;
  static constexpr std::size_t kLarge = 2 * kPage;
};

// The bytes of a file that may be large.  What resize adds has no value until it is written.
using FileBytes = std::vector<std::uint8_t, UnclearedAllocator<std::uint8_t>>;

// As ReadWholeFile and ReadWholeStream into other vectors.
Result ReadWholeFile(const std::string& path, FileBytes& out, std::size_t limit = kMaxWholeFile);
Result ReadWholeStream(std::istream& in, const std::string& source, FileBytes& out, std::size_t limit = kMaxWholeFile);

}  // namespace tonalith
