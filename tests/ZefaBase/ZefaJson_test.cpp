#include "ZefaBase/ZefaJson.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "tests/platform/ZefaTestMachine.h"

namespace {

std::string key(int i) { return "k" + std::to_string(i); }

// Sizes on both sides of the point where objects start indexing their keys.
TEST(ZefaJsonTest, ObjectsKeepInsertionOrderThroughInsertsErasesAndCopies) {
  for (const int size : {5, 17, 50}) {
    SCOPED_TRACE(size);
    ZefaJsonObject object;
    for (int i = size - 1; i >= 0; --i) object[key(i)] = i;
    EXPECT_EQ(object.begin()->first, key(size - 1));
    EXPECT_EQ(object.erase(key(2)), 1u);
    EXPECT_EQ(object.erase(key(2)), 0u);
    object.erase(object.begin());
    object.emplace(key(1), "ignored: the existing member wins");
    object[key(2)] = "back";
    ASSERT_EQ(object.size(), static_cast<size_t>(size - 1));
    EXPECT_EQ(object.begin()->first, key(size - 2));
    EXPECT_EQ(std::prev(object.end())->first, key(2));
    const ZefaJsonObject copy = object;
    for (int i = 3; i < size - 1; ++i) EXPECT_EQ(copy.at(key(i)).get<int>(), i);
    EXPECT_EQ(copy.find("missing"), copy.end());
    EXPECT_EQ(copy, object);
  }
  EXPECT_EQ(ZefaJson::parse(R"({"a":1,"b":[2]})"), ZefaJson::parse(R"({"b":[2],"a":1})"));
  EXPECT_NE(ZefaJson::parse(R"({"a":1})"), ZefaJson::parse(R"({"a":1.5})"));
}

// Top-level scalars, trailing garbage, deep nesting, commas and comments: see the corpus below.
TEST(ZefaJsonTest, ParseRules) {
  const std::pair<std::string, bool> rows[] = {
      {R"({"a":1})", true},
      {"[1,2]", true},
      {" \n{}\t ", true},
      {"[\"\xff\"]", false},
      {R"(["\ud800"])", false},  // not UTF-8, lone surrogate
      {std::string(512, '[') + std::string(512, ']'), true},
      {std::string(513, '[') + std::string(513, ']'), false},
      {std::string(512, '[') + "18446744073709551616" + std::string(512, ']'), true},  // slow path
      {"[\"" + std::string(600, '[') + "\"]", true},  // brackets in texts do not nest
      {std::string("[1]\0", 4), false},               // NUL after the value
      {std::string("[\"a\0b\"]", 7), false},          // raw NUL inside a text
      {R"(["a\u0000b"])", true},                      // an escaped one is a character
      {"{\"\xc0\xaf\":1}", false},                    // overlong form in a member name
      {"[\"\xed\xa0\x80\"]", false},                  // encoded surrogate
  };
  for (const auto& [text, accepted] : rows) {
    std::string error;
    EXPECT_EQ(ZefaJsonText::parse(text, &error).has_value(), accepted) << text.substr(0, 40);
    EXPECT_EQ(error.empty(), accepted) << text.substr(0, 40);
  }
  // "d" repeats with the last value in the first place ("big", past 64 bits, is read by
  // nlohmann's parser; the fast parser's texts follow below).
  const auto value = ZefaJsonText::parse(
      R"({"i":0,"f":0.0,"s":"0","d":1,"n":-5,"a":[1,{"x":null}],"b":true,"t":"\/",)"
      R"("d":2,"u":18446744073709551615,"big":18446744073709551616})");
  ASSERT_TRUE(value);
  EXPECT_TRUE(value->at("i").is_number_integer());
  EXPECT_TRUE(value->at("f").is_number_float());
  EXPECT_EQ(value->at("d"), 2) << "the last of repeated members wins";
  EXPECT_EQ(value->size(), 10u);
  EXPECT_EQ(value->at("u").get<uint64_t>(), 18446744073709551615u);
  EXPECT_TRUE(value->at("big").is_number_float()) << "integers past 64 bits become floats";
  EXPECT_EQ(ZefaJsonText::write(*value),
            R"({"i":0,"f":0.0,"s":"0","d":2,"n":-5,"a":[1,{"x":null}],"b":true,"t":"\/",)"
            R"("u":18446744073709551615,"big":1.8446744073709552e+19})");
  // Wide enough for the object's index: every member is found by its name, and a repeat takes
  // the first one's place.
  std::string wide = "{";
  for (int i = 0; i < 20; ++i) wide += "\"m" + std::to_string(i) + "\":" + std::to_string(i) + ",";
  const auto indexed = ZefaJsonText::parse(wide + R"("m3":"again"})");
  ASSERT_TRUE(indexed);
  ASSERT_EQ(indexed->size(), 20u);
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(indexed->at("m" + std::to_string(i)), i == 3 ? ZefaJson("again") : ZefaJson(i));
  }
  EXPECT_EQ(std::next(indexed->begin(), 3).key(), "m3");
}

TEST(ZefaJsonTest, WritesCompactlyWithEscapedSlashesOnlyWhatJsonCanCarry) {
  using Fault = ZefaJsonText::WriteFault;
  const struct {
    ZefaJson value;
    std::optional<std::string> text;
    Fault fault;
    bool serialisable;
  } rows[] = {
      {ZefaJsonObject{}, "{}", Fault::None, true},
      {ZefaJsonObject{{"a/b", "x/y"}}, R"({"a\/b":"x\/y"})", Fault::None, true},
      {ZefaJsonObject{{"z", 1}, {"a", ZefaJsonArray{true, nullptr, 1.5}}},
       R"({"z":1,"a":[true,null,1.5]})", Fault::None, true},
      {ZefaJsonObject{{"q\"\\\n\x01", "\xc3\xa9\t\x1f\x7f"}},
       "{\"q\\\"\\\\\\n\\u0001\":\"\xc3\xa9\\t\\u001f\x7f\"}", Fault::None, true},
      {ZefaJsonArray{-5, UINT64_MAX, 1e300, 2.0}, "[-5,18446744073709551615,1e+300,2.0]",
       Fault::None, true},
      {ZefaJsonArray{"\xc3"}, std::nullopt, Fault::NotUtf8, true},
      {"x", R"("x")", Fault::None, false},
      {ZefaJsonObject{{"a", ZefaJsonArray{ZefaJsonObject{{"b", NAN}}}}}, std::nullopt, Fault::None,
       false},
      {ZefaJsonArray{INFINITY}, std::nullopt, Fault::None, false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(ZefaJsonText::isSerialisable(row.value), row.serialisable) << row.value.dump();
    if (!row.serialisable && !row.text) continue;  // no JSON form to write
    Fault fault{};
    EXPECT_EQ(ZefaJsonText::write(row.value, nullptr, &fault), row.text);
    EXPECT_EQ(fault, row.fault);
  }
}

// The public conformance corpus: y_ files with an object or array on top are accepted (top-level
// scalars are refused on purpose), n_ files refused, i_ and transform files must not crash.
// Released from the leaves up, however deep: nothing is left and no stack is used up.
TEST(ZefaJsonTest, ReleaseEmptiesValuesOfAnyDepth) {
  ZefaJsonObject object{{"flat", "text"}, {"list", ZefaJsonArray{1, ZefaJsonObject{{"a", "b"}}}}};
  ZefaJson deep = ZefaJsonArray{};
  for (int i = 0; i < 200000; ++i) {  // built by moves: a copy would recurse
    ZefaJson level(ZefaJson::value_t::object);
    level.get_ref<ZefaJsonObject&>().emplace("d", std::move(deep));
    deep = ZefaJson(ZefaJson::value_t::array);
    deep.get_ref<ZefaJsonArray&>().push_back(std::move(level));
  }
  object.emplace("deep", std::move(deep));
  ZefaJsonText::release(object);
  EXPECT_TRUE(object.empty());
}

TEST(ZefaJsonTest, ConformanceCorpus) {
  const auto corpus = std::filesystem::path(ZEFA_TESTDATA_DIR) / "json-conformance";
  int files = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(corpus)) {
    const std::string name = entry.path().filename().string();
    if (entry.path().extension() != ".json") continue;
    const std::string text = zefaFileContent(entry.path());
    const auto parsed = ZefaJsonText::parse(text);
    ++files;
    if (name.starts_with("y_")) {
      const auto first = text.find_first_not_of(" \t\r\n");
      EXPECT_EQ(parsed.has_value(),
                first != text.npos && (text[first] == '[' || text[first] == '{'))
          << name;
    } else if (name.starts_with("n_")) {
      EXPECT_FALSE(parsed.has_value()) << name;
    } else if (parsed && ZefaJsonText::isSerialisable(*parsed)) {
      EXPECT_TRUE(ZefaJsonText::write(*parsed).has_value()) << name;
    }
  }
  EXPECT_GT(files, 330);
}

}  // namespace
