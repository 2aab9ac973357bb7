#pragma once
// Small blocks kept per thread for the next object of their size. A server call's objects come
// and go by the dozen on the main thread: a drain frees the calls it delivers and their decoded
// replies in one sweep, and the next round of calls makes as many again. That is more blocks of
// one size than the system allocator's own per-thread cache holds (seven, with glibc), and past
// it every block goes through the allocator's shared bins and their lock. Here a thread keeps
// up to kKeptBytes of freed blocks, so the next sweep takes them back at once. JSON values and
// the transport's per-call state are made from it.
#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

#include "ZefaBase/ZefaExport.h"

class ZEFA_EXPORT ZefaBlockCache {
 public:
  // Blocks up to this size are kept; larger ones go straight to the system allocator.
  static constexpr size_t kLargestBlock = 512;
  // What one thread keeps at most, over all sizes.
  static constexpr size_t kKeptBytes = 256 * 1024;

  // A block of at least `bytes` bytes, aligned for any scalar type. Throws std::bad_alloc as
  // operator new does.
  static void* take(size_t bytes);
  // Gives back a block from take(bytes), from any thread: that thread keeps it.
  static void give(void* block, size_t bytes) noexcept;
  // False in builds under the address or thread checker, where every block is the system
  // allocator's, so that the checkers see each block's life.
  static bool isKeeping() noexcept;
};

// The standard allocator interface over ZefaBlockCache.
template <class T>
struct ZefaBlockAllocator {
  using value_type = T;

  ZefaBlockAllocator() noexcept = default;
  template <class U>
  ZefaBlockAllocator(const ZefaBlockAllocator<U>&) noexcept {}

  T* allocate(size_t count) {
    static_assert(alignof(T) <= alignof(std::max_align_t), "over-aligned types are not kept");
    if (count > SIZE_MAX / sizeof(T)) throw std::bad_array_new_length();
    return static_cast<T*>(ZefaBlockCache::take(count * sizeof(T)));
  }
  void deallocate(T* block, size_t count) noexcept {
    ZefaBlockCache::give(block, count * sizeof(T));
  }

  template <class U>
  bool operator==(const ZefaBlockAllocator<U>&) const noexcept {
    return true;
  }
};

// A callable for std::function whose storage, when std::function needs one (a capture that is
// larger than two pointers or not trivially copied, such as a shared_ptr), is a kept block
// rather than the system allocator's: libstdc++'s std::function makes it with the callable's own
// new. (Other standard libraries make it their own way; the callable then costs what any does.)
template <class F>
struct ZefaKeptCallable : F {
  explicit ZefaKeptCallable(F callable) : F(std::move(callable)) {}
  using F::operator();

  static void* operator new(size_t bytes) { return ZefaBlockCache::take(bytes); }
  static void operator delete(void* block, size_t bytes) noexcept {
    ZefaBlockCache::give(block, bytes);
  }
};
