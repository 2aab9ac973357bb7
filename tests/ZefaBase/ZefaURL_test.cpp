#include "ZefaBase/ZefaURL.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(ZefaURLTest, AcceptsUriReferencesAndRejectsTextThatIsNone) {
  struct Row {
    const char* name;
    std::string text;
    bool valid;
  };
  // clang-format off
  const std::vector<Row> rows = {
      {"absolute http", "http://127.0.0.1:8080/api/user/login?sessionToken=t", true},
      {"https with query", "https://example.com/p?a=1&b=x", true},
      {"bare path is a reference", "/api/user/login", true},
      {"second question mark inside the query", "http://h/g?z=9?a=1", true},
      {"empty query", "http://h/g?", true},
      {"percent escapes", "http://h/a%20b", true},
      {"empty text", "", false},
      {"space", "http://h/a b", false},
      {"angle brackets", "http://h/<x>", false},
      {"double quote", "http://h/\"x\"", false},
      {"braces", "http://h/{x}", false},
      {"broken percent escape", "http://h/a%zz", false},
      {"non-ASCII byte", "http://h/\xc3\xa9", false},
      {"control character", "http://h/a\nb", false},
  };
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const auto url = ZefaURL::fromString(row.text);
    EXPECT_EQ(url.has_value(), row.valid);
    if (url) {
      EXPECT_EQ(url->absoluteString(), row.text);
    }
  }
}

}  // namespace
