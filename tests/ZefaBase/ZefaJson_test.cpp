#include "ZefaBase/ZefaJson.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace {

std::string keyAt(int i) { return "k" + std::to_string(i); }

TEST(ZefaJsonTest, ObjectsKeepInsertionOrderAndFindEveryMember) {
  // Sizes on both sides of the point where the map starts indexing its keys.
  for (const int size : {0, 1, 8, 9, 50}) {
    SCOPED_TRACE(size);
    ZefaJsonObject object;
    for (int i = size - 1; i >= 0; --i) object[keyAt(i)] = i;
    ASSERT_EQ(object.size(), static_cast<size_t>(size));
    int expected = size - 1;
    for (const auto& [key, value] : object) {
      EXPECT_EQ(key, keyAt(expected));
      EXPECT_EQ(value.get<int>(), expected);
      --expected;
    }
    for (int i = 0; i < size; ++i) EXPECT_EQ(object.at(keyAt(i)).get<int>(), i);
    EXPECT_EQ(object.find("missing"), object.end());
    EXPECT_EQ(object.count("missing"), 0u);
  }
}

TEST(ZefaJsonTest, ErasingKeepsOrderAndLookupsRight) {
  for (const int size : {5, 20}) {
    SCOPED_TRACE(size);
    ZefaJsonObject object;
    for (int i = 0; i < size; ++i) object.emplace(keyAt(i), i);
    EXPECT_EQ(object.erase(keyAt(2)), 1u);
    EXPECT_EQ(object.erase(keyAt(2)), 0u);
    object.erase(object.begin());
    ASSERT_EQ(object.size(), static_cast<size_t>(size - 2));
    EXPECT_EQ(object.begin()->first, keyAt(1));
    EXPECT_EQ(std::next(object.begin())->first, keyAt(3));
    for (int i = 3; i < size; ++i) EXPECT_EQ(object.at(keyAt(i)).get<int>(), i);
    object[keyAt(2)] = "back";
    EXPECT_EQ(std::prev(object.end())->first, keyAt(2));
    const ZefaJsonObject copy = object;
    EXPECT_EQ(copy, object);
    EXPECT_EQ(copy.at(keyAt(size - 1)).get<int>(), size - 1);
  }
}

TEST(ZefaJsonTest, EqualityIgnoresMemberOrder) {
  EXPECT_EQ(ZefaJson::parse(R"({"a":1,"b":[2]})"), ZefaJson::parse(R"({"b":[2],"a":1})"));
  EXPECT_NE(ZefaJson::parse(R"({"a":1})"), ZefaJson::parse(R"({"a":1.5})"));
}

TEST(ZefaJsonTest, ParseRules) {
  const struct {
    const char* name;
    std::string text;
    bool accepted;
  } rows[] = {
      {"object", R"({"a":1})", true},
      {"array", "[1,2]", true},
      {"white space around", " \n{}\t ", true},
      {"bare number", "5", false},
      {"bare text", R"("x")", false},
      {"bare null", "null", false},
      {"empty text", "", false},
      {"trailing garbage", "{} x", false},
      {"trailing comma", "[1,]", false},
      {"comment", "[1] // no", false},
      {"invalid UTF-8 in a text", "[\"\xff\"]", false},
      {"lone surrogate escape", R"(["\ud800"])", false},
      {"512 levels", std::string(512, '[') + std::string(512, ']'), true},
      {"513 levels", std::string(513, '[') + std::string(513, ']'), false},
      {"brackets inside texts do not nest", "[\"" + std::string(600, '[') + "\"]", true},
      {"hostile depth", std::string(100000, '['), false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    std::string error;
    const auto value = ZefaJsonText::parse(row.text, &error);
    EXPECT_EQ(value.has_value(), row.accepted) << error;
    EXPECT_EQ(error.empty(), row.accepted);
  }
}

TEST(ZefaJsonTest, NumbersKeepTheirKindAndTheLastDuplicateWins) {
  const auto value =
      ZefaJsonText::parse(R"({"i":0,"f":0.0,"s":"0","d":1,"d":2,"big":18446744073709551615})");
  ASSERT_TRUE(value);
  EXPECT_TRUE(value->at("i").is_number_integer());
  EXPECT_TRUE(value->at("f").is_number_float());
  EXPECT_TRUE(value->at("s").is_string());
  EXPECT_EQ(value->at("d").get<int>(), 2);
  EXPECT_EQ(value->size(), 5u);
  EXPECT_EQ(value->at("big").get<uint64_t>(), 18446744073709551615u);
}

TEST(ZefaJsonTest, WritesCompactlyWithEscapedSlashes) {
  const struct {
    const char* name;
    ZefaJson value;
    std::optional<std::string> text;
    ZefaJsonText::WriteFault fault;
  } rows[] = {
      {"empty object", ZefaJsonObject{}, "{}", ZefaJsonText::WriteFault::None},
      {"slash in a text", ZefaJsonObject{{"a", "x/y"}}, R"({"a":"x\/y"})",
       ZefaJsonText::WriteFault::None},
      {"slash in a key", ZefaJsonObject{{"a/b", 1}}, R"({"a\/b":1})",
       ZefaJsonText::WriteFault::None},
      {"members in insertion order", ZefaJsonObject{{"z", 1}, {"a", ZefaJsonArray{true, nullptr}}},
       R"({"z":1,"a":[true,null]})", ZefaJsonText::WriteFault::None},
      {"text that is not UTF-8", ZefaJsonArray{"\xc3"}, std::nullopt,
       ZefaJsonText::WriteFault::NotUtf8},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    ZefaJsonText::WriteFault fault{};
    EXPECT_EQ(ZefaJsonText::write(row.value, nullptr, &fault), row.text);
    EXPECT_EQ(fault, row.fault);
  }
}

TEST(ZefaJsonTest, SerialisableOnlyWithObjectOrArrayOnTopAndFiniteNumbers) {
  const struct {
    const char* name;
    ZefaJson value;
    bool serialisable;
  } rows[] = {
      {"object", ZefaJsonObject{{"a", 1.5}}, true},
      {"array", ZefaJsonArray{}, true},
      {"bare text", "x", false},
      {"bare number", 1, false},
      {"null", nullptr, false},
      {"NaN deep inside", ZefaJsonObject{{"a", ZefaJsonArray{ZefaJsonObject{{"b", NAN}}}}}, false},
      {"infinity", ZefaJsonArray{INFINITY}, false},
  };
  for (const auto& row : rows)
    EXPECT_EQ(ZefaJsonText::isSerialisable(row.value), row.serialisable) << row.name;
}

// The public conformance corpus: every y_ file with an object or array on top is accepted (the
// library refuses top-level scalars), every n_ file is refused, i_ files only must not crash.
TEST(ZefaJsonTest, ConformanceCorpus) {
  const std::filesystem::path dir =
      std::filesystem::path(ZEFA_TESTDATA_DIR) / "json-conformance" / "test_parsing";
  ASSERT_TRUE(std::filesystem::is_directory(dir)) << dir;
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    const std::string name = entry.path().filename().string();
    std::ifstream in(entry.path(), std::ios::binary);
    std::stringstream buffer;
    buffer << in.rdbuf();
    const std::string text = buffer.str();
    const auto parsed = ZefaJsonText::parse(text);
    ++files;
    if (name.starts_with("y_")) {
      const auto first = text.find_first_not_of(" \t\r\n");
      const bool container =
          first != std::string::npos && (text[first] == '[' || text[first] == '{');
      EXPECT_EQ(parsed.has_value(), container) << name;
    } else if (name.starts_with("n_")) {
      EXPECT_FALSE(parsed.has_value()) << name;
    }
  }
  EXPECT_GT(files, 300);
}

TEST(ZefaJsonTest, TransformCorpusParsesWithoutCrashing) {
  const std::filesystem::path dir =
      std::filesystem::path(ZEFA_TESTDATA_DIR) / "json-conformance" / "test_transform";
  int parsed = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    std::ifstream in(entry.path(), std::ios::binary);
    std::stringstream buffer;
    buffer << in.rdbuf();
    if (const auto value = ZefaJsonText::parse(buffer.str())) {
      ++parsed;
      EXPECT_TRUE(ZefaJsonText::write(*value) || !ZefaJsonText::isSerialisable(*value))
          << entry.path();
    }
  }
  EXPECT_GT(parsed, 10);
}

}  // namespace
