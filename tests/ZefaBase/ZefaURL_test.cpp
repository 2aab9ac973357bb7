#include "ZefaBase/ZefaURL.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(ZefaURLTest, AcceptsUriReferencesAndRejectsTextThatIsNone) {
  const std::vector<std::pair<std::string, bool>> rows = {
      {"http://127.0.0.1:8080/api/user/login?sessionToken=t&b=x", true},
      {"/api/user/login", true},  // a bare path is a reference
      {"http://h/g?z=9?a=1", true},
      {"http://h/g?", true},
      {"http://h/a%20b", true},
      {"http://[::ffff:1.2.3.4]:8080/x#top", true},
      {"mailto:a@b", true},
      {"http://[1::2::3]/", false},
      {"http://h:80x/", false},
      {"1a:b", false},  // not a scheme, and a colon in a relative path's first segment
      {"", false},
      {"http://h/a b", false},
      {"http://h/<x>", false},
      {"http://h/{x}", false},
      {"http://h/a%zz", false},
      {"http://h/\xc3\xa9", false},
      {"http://h/a\nb", false},
  };
  for (const auto& [text, valid] : rows) {
    SCOPED_TRACE(text);
    const auto url = ZefaURL::fromString(text);
    EXPECT_EQ(url.has_value(), valid);
    EXPECT_EQ(url ? url->absoluteString() : "", valid ? text : "");
  }
}

}  // namespace
