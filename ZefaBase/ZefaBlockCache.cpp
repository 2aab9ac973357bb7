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
// ends; Closer frees the blocks then. `room` starts at 0, so the first block given takes the
// slow path, which arms the Closer and opens the room; once the thread ends it stays 0.
struct Lists {
  Link* head[kClasses];
  size_t room;  // bytes that may still be kept
  bool armed;   // the Closer is armed (and, once room is 0 again for good, has run)
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
    lists.room = 0;  // the thread is ending: blocks go straight back to the system allocator
  }
};

size_t classOf(size_t bytes) { return bytes == 0 ? 0 : (bytes - 1) / kGrain; }

// Gives back a block that the thread's lists do not take at once: the thread's first (which
// arms the Closer and opens the room), or one past the room, too large, or not kept at all. Out
// of line, so that the common path of give() saves no registers.
[[gnu::noinline]] void giveOther(void* block, size_t bytes) noexcept {
  if (kKeeping && bytes <= ZefaBlockCache::kLargestBlock && !lists.armed) {
    lists.armed = true;
    thread_local Closer closer;  // its destructor runs when this thread ends
    lists.room = ZefaBlockCache::kKeptBytes;
    ZefaBlockCache::give(block, bytes);
    return;
  }
  ::operator delete(block);  // the room is used up, or the thread is ending
}

}  // namespace

bool ZefaBlockCache::isKeeping() noexcept { return kKeeping; }

void* ZefaBlockCache::take(size_t bytes) {
  if (!kKeeping || bytes > kLargestBlock) return ::operator new(bytes);
  const size_t index = classOf(bytes);
  if (Link* block = lists.head[index]) {
    lists.head[index] = block->next;
    lists.room += (index + 1) * kGrain;
    return block;
  }
  // Made at the full size of its class, so any block of the class can serve any request in it.
  return ::operator new((index + 1) * kGrain);
}

void ZefaBlockCache::give(void* block, size_t bytes) noexcept {
  if (block == nullptr) return;
  const size_t index = classOf(bytes);
  const size_t size = (index + 1) * kGrain;
  if (!kKeeping || bytes > kLargestBlock || size > lists.room) {
    giveOther(block, bytes);
    return;
  }
  lists.head[index] = new (block) Link{lists.head[index]};
  lists.room -= size;
}
