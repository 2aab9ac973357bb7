// The JSON helpers: results, and the error lines they write or deliberately do not write.
#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <stdexcept>

#include "ZefaBase/ZefaSDKUtils.h"
#include "tests/support/ZefaJsonSamples.h"
#include "tests/support/ZefaLogCapture.h"

namespace {

struct Record {
  std::string name;
  int64_t level = 0;
  std::optional<std::string> note;
  double ratio = 0;
  bool operator==(const Record&) const = default;
};
void to_json(ZefaJson& json, const Record& r) {
  json = ZefaJsonObject{{"name", r.name}, {"level", r.level}, {"ratio", r.ratio}};
  if (r.note) json["note"] = *r.note;
}
void from_json(const ZefaJson& json, Record& r) {
  json.at("name").get_to(r.name);
  json.at("level").get_to(r.level);
  json.at("ratio").get_to(r.ratio);
  if (json.contains("note")) r.note = json.at("note").get<std::string>();
}
struct Unencodable {};
void to_json(ZefaJson&, const Unencodable&) { throw std::runtime_error("cannot encode"); }
struct Scalar {  // could decode from a bare number, if the helper let one through
  int value = 0;
};
void from_json(const ZefaJson& json, Scalar& s) { s.value = json.get<int>(); }

// Runs `call` and checks the one error line it must write for `function`, or that it writes none.
template <class Call>
void expectErrorLine(const char* function, Call call) {
  ZefaLogCapture capture;
  call();
  const auto entries = capture.entries();
  ASSERT_EQ(entries.size(), function ? 1u : 0u) << (entries.empty() ? "" : entries[0]);
  if (!function) return;
  const std::string message = entries[0].substr(entries[0].find("-> ") + 3);
  EXPECT_TRUE(entries[0].starts_with(std::string("[E][ZefaSDKUtils][") + function + "]("));
  EXPECT_TRUE(message.starts_with("Json operation failed error: ") && message.ends_with(";") &&
              message.size() > 31)  // the error is described
      << message;
}

TEST(ZefaSDKUtilsJsonTest, ObjectToJsonString) {
  const std::pair<ZefaJson, std::optional<std::string>> rows[] = {
      {ZefaJsonObject{{"a", "x/y"}}, R"({"a":"x\/y"})"},
      {"text", std::nullopt},                         // not serialisable: silent
      {ZefaJsonObject{{"a", NAN}}, std::nullopt},     // no JSON form: silent
      {ZefaJsonObject{{"a", "\xff"}}, std::nullopt},  // output would not be UTF-8: silent
  };
  for (const auto& [value, text] : rows) {
    expectErrorLine(nullptr, [&] { EXPECT_EQ(ZefaSDKUtils::objectToJsonString(value), text); });
  }
  // Values built in memory nest as deep as parsed text may, and no deeper (without recursing).
  for (const auto& [levels, written] : {std::pair(512, true), {513, false}, {100'000, false}}) {
    const ZefaJson value(zefaNestedObject(levels - 1));
    EXPECT_EQ(ZefaSDKUtils::objectToJsonString(value).has_value(), written) << levels;
  }
}

TEST(ZefaSDKUtilsJsonTest, JsonStringToDictionaryAndArray) {
  const char* const dictionary = "jsonStringToDictionary(_:)";
  const char* const array = "jsonStringToArray(_:)";
  const struct {
    const char* text;
    bool isObject, isArray;
    bool logs;  // malformed text: both write an error line; the other kind is refused silently
  } rows[] = {{R"({"a":[1,{"b":null}]})", true, false, false},
              {"[1,2]", false, true, false},
              {"5", false, false, true},
              {R"({"a":)", false, false, true}};
  for (const auto& row : rows) {
    expectErrorLine(row.logs ? dictionary : nullptr, [&] {
      EXPECT_EQ(ZefaSDKUtils::jsonStringToDictionary(row.text).has_value(), row.isObject)
          << row.text;
    });
    expectErrorLine(row.logs ? array : nullptr, [&] {
      EXPECT_EQ(ZefaSDKUtils::jsonStringToArray(row.text).has_value(), row.isArray) << row.text;
    });
  }
  EXPECT_EQ(ZefaSDKUtils::jsonStringToArray("[1,2]"), (ZefaJsonArray{1, 2}));
}

TEST(ZefaSDKUtilsJsonTest, ModelsRoundTripAndFailAsDocumented) {
  for (const Record& record :
       {Record{"a/b", 7, std::nullopt, 0.5}, Record{"", -1, "\"q\"", 1e300}}) {
    const auto text = ZefaSDKUtils::modelToJsonString(record);
    ASSERT_TRUE(text);
    EXPECT_EQ(text->find("null"), std::string::npos) << "absent fields are left out: " << *text;
    EXPECT_EQ(ZefaSDKUtils::jsonStringToModel<Record>(*text), record) << *text;
  }
  const std::pair<const char*, const char*> decodes[] = {
      {"{\"name\":", nullptr},  // malformed text is swallowed silently
      {"5", nullptr},           // a top-level scalar never reaches the decoder
      {R"({"name":"x","ratio":1})", "jsonStringToModel(_:_:)"},          // missing member
      {R"({"name":1,"level":1,"ratio":1})", "jsonStringToModel(_:_:)"},  // wrong kind
  };
  for (const auto& [text, function] : decodes) {
    expectErrorLine(function,
                    [&] { EXPECT_FALSE(ZefaSDKUtils::jsonStringToModel<Record>(text)) << text; });
  }
  expectErrorLine(nullptr, [] { EXPECT_FALSE(ZefaSDKUtils::jsonStringToModel<Scalar>("5")); });
  expectErrorLine(nullptr, [] {
    const auto record =
        ZefaSDKUtils::jsonStringToModel<Record>(R"({"name":"x","level":2,"ratio":1,"extra":[]})");
    EXPECT_EQ(record.value_or(Record{}).level, 2) << "unknown members are ignored";
  });
  expectErrorLine("modelToJsonString(_:)",
                  [] { EXPECT_FALSE(ZefaSDKUtils::modelToJsonString(Unencodable{})); });
  expectErrorLine("modelToJsonString(_:)", [] {
    EXPECT_FALSE(ZefaSDKUtils::modelToJsonString(Record{"x", 1, {}, NAN}));
  });
  expectErrorLine(nullptr, [] {
    EXPECT_FALSE(ZefaSDKUtils::modelToJsonString(Record{"\xfe", 1, {}, 0}));
  });
}

}  // namespace
