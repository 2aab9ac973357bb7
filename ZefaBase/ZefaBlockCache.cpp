#include "ZefaBase/ZefaBlockCache.h"

#include <utility>

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kKeeping = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool kKeeping = false;
#else
constexpr bool kKeeping = true;
#endif
#else
constexpr bool kKeeping = true;
#endif

constexpr size_t kGrain = 16;  // sizes are kept in steps of this, the allocator's alignment
constexpr size_t kClasses = ZefaBlockCache::kLargestBlock / kGrain;

// A freed block holds the link to the next one of its size.
struct Link {
  Link* next;
};

// One thread's kept blocks. Plain data, so it needs no set-up and nothing runs when the thread
// ends; Closer frees the blocks then.
struct Lists {
  Link* head[kClasses];
  size_t keptBytes;
  bool closerArmed;
  bool closed;  // the thread is ending: blocks go straight back to the system allocator
};
thread_local Lists lists{};

struct Closer {
  Closer() = default;
  Closer(const Closer&) = delete;
  Closer& operator=(const Closer&) = delete;
  ~Closer() {
    for (Link*& head : lists.head) {
      while (head != nullptr) ::operator delete(std::exchange(head, head->next));
    }
    lists.keptBytes = 0;
    lists.closed = true;
  }
};

size_t classOf(size_t bytes) { return bytes == 0 ? 0 : (bytes - 1) / kGrain; }

}  // namespace

bool ZefaBlockCache::isKeeping() noexcept { return kKeeping; }

void* ZefaBlockCache::take(size_t bytes) {
  if (!kKeeping || bytes > kLargestBlock) return ::operator new(bytes);
  const size_t index = classOf(bytes);
  if (Link* block = lists.head[index]) {
    lists.head[index] = block->next;
    lists.keptBytes -= (index + 1) * kGrain;
    return block;
  }
  // Made at the full size of its class, so any block of the class can serve any request in it.
  return ::operator new((index + 1) * kGrain);
}

void ZefaBlockCache::give(void* block, size_t bytes) noexcept {
  if (block == nullptr) return;
  const size_t size = (classOf(bytes) + 1) * kGrain;
  if (!kKeeping || bytes > kLargestBlock || lists.closed || lists.keptBytes + size > kKeptBytes) {
    ::operator delete(block);
    return;
  }
  if (!lists.closerArmed) {
    lists.closerArmed = true;
    thread_local Closer closer;  // its destructor runs when this thread ends
  }
  const size_t index = classOf(bytes);
  lists.head[index] = new (block) Link{lists.head[index]};
  lists.keptBytes += size;
}
