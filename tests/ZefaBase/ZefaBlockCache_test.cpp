#include "ZefaBase/ZefaBlockCache.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

// A block given back serves the next request of its size class on the same thread, and no
// request of another class; every byte of the size asked for is usable.
TEST(ZefaBlockCacheTest, GivesBackABlockOnlyWithinItsSizeClass) {
  if (!ZefaBlockCache::isKeeping()) GTEST_SKIP() << "blocks are not kept under the checkers";
  const struct {
    size_t given, asked;
    bool sameBlock;
  } rows[] = {
      {32, 32, true},  {32, 17, true},   {32, 33, false},   {16, 0, true},
      {17, 16, false}, {512, 497, true}, {496, 512, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.given << " then " << row.asked);
    void* first = ZefaBlockCache::take(row.given);
    std::memset(first, 0xA5, row.given);
    ZefaBlockCache::give(first, row.given);
    void* second = ZefaBlockCache::take(row.asked);
    std::memset(second, 0x5A, row.asked);
    EXPECT_EQ(second == first, row.sameBlock);
    ZefaBlockCache::give(second, row.asked);
  }
}

}  // namespace
