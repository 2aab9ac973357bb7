#include "ZefaBase/ZefaDescription.h"

#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <random>

namespace {

TEST(ZefaDescriptionTest, NumbersInShortestFormThatReadBack) {
  const std::pair<double, const char*> rows[] = {
      {1, "1.0"},
      {0.1, "0.1"},
      {1e15, "1000000000000000.0"},
      {1e16, "1e+16"},
      {0.0001, "0.0001"},
      {0.00001, "1e-05"},
      {-2.5e-7, "-2.5e-07"},
      {0, "0.0"},
      {-0.0, "-0.0"},
      {NAN, "nan"},
      {-INFINITY, "-inf"},
      {1.7976931348623157e308, "1.7976931348623157e+308"},
  };
  for (const auto& [value, text] : rows) EXPECT_EQ(ZefaDescription::number(value), text);
  std::mt19937_64 random(7);
  std::uniform_real_distribution<double> exponent(-30, 30);
  for (int n = 0; n < 2000; ++n) {
    const double value = std::pow(10.0, exponent(random)) * (n % 2 ? 1 : -1);
    const std::string text = ZefaDescription::number(value);
    double back = 0;
    std::from_chars(text.data(), text.data() + text.size(), back);
    EXPECT_EQ(back, value) << text;
  }
}

TEST(ZefaDescriptionTest, ValuesAndOptionals) {
  const ZefaJsonObject params{{"key", "value"},
                              {"n", 1},
                              {"list", ZefaJsonArray{true, nullptr, 2.5}},
                              {"nested", ZefaJsonObject{}}};
  EXPECT_EQ(ZefaDescription::describe(params),
            R"(["key": "value", "n": 1, "list": [true, <null>, 2.5], "nested": [:]])");
  EXPECT_EQ(ZefaDescription::optional(std::optional<ZefaJsonObject>(ZefaJsonObject{{"a", "b"}})),
            R"(Optional(["a": "b"]))");
  EXPECT_EQ(ZefaDescription::optional(std::optional<ZefaJsonObject>()), "nil");
  EXPECT_EQ(ZefaDescription::optional(std::optional<std::string>("a\"b")), R"(Optional("a\"b"))");
  EXPECT_EQ(ZefaDescription::optional(std::optional<int64_t>(-3)), "Optional(-3)");
  EXPECT_EQ(ZefaDescription::quoted(std::string("\0\x1b\x7f", 3)), R"("\0\u{1B}\u{7F}")");
}

}  // namespace
