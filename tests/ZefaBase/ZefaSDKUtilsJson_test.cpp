// The JSON helpers: results and the error lines they write (or deliberately do not write).
#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <stdexcept>
#include <string>

#include "ZefaBase/ZefaSDKUtils.h"
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
  if (!json.at("level").is_number_integer()) throw std::invalid_argument("level is not an integer");
  json.at("level").get_to(r.level);
  json.at("ratio").get_to(r.ratio);
  if (const auto it = json.find("note"); it != json.end() && !it->is_null())
    r.note = it->get<std::string>();
}

// A record whose encoder fails.
struct Unencodable {};
void to_json(ZefaJson&, const Unencodable&) {
  throw std::runtime_error("cannot encode Unencodable");
}

// A record that could decode from a scalar, if the helper let a scalar through.
struct Scalar {
  int value = 0;
};
void from_json(const ZefaJson& json, Scalar& s) { s.value = json.get<int>(); }

constexpr const char* kErrorPrefix = "Json operation failed error: ";

// One row of the failure table: what the call returns and which error line (if any) it writes.
struct Outcome {
  bool present;
  const char* errorFunction;  // nullptr: no line at all
};

void expectLog(const ZefaLogCapture& capture, const char* function) {
  const auto entries = capture.entries();
  if (!function) {
    EXPECT_TRUE(entries.empty()) << entries[0];
    return;
  }
  ASSERT_EQ(entries.size(), 1u);
  const std::string prefix = std::string("[E][ZefaSDKUtils][") + function + "](";
  EXPECT_EQ(entries[0].rfind(prefix, 0), 0u) << entries[0];
  const auto message = entries[0].substr(entries[0].find("-> ") + 3);
  EXPECT_EQ(message.rfind(kErrorPrefix, 0), 0u) << message;
  EXPECT_GT(message.size(), std::string(kErrorPrefix).size() + 1) << "the error must be described";
  EXPECT_EQ(message.back(), ';');
}

TEST(ZefaSDKUtilsJsonTest, ObjectToJsonString) {
  const struct {
    const char* name;
    ZefaJson value;
    std::optional<std::string> text;
    const char* errorFunction;
  } rows[] = {
      {"empty object", ZefaJsonObject{}, "{}", nullptr},
      {"slash escaped", ZefaJsonObject{{"a", "x/y"}}, R"({"a":"x\/y"})", nullptr},
      {"array", ZefaJsonArray{1, "two", 3.5}, R"([1,"two",3.5])", nullptr},
      {"bare text is not serialisable", "text", std::nullopt, nullptr},
      {"bare number is not serialisable", 5, std::nullopt, nullptr},
      {"NaN has no JSON form", ZefaJsonObject{{"a", NAN}}, std::nullopt, nullptr},
      {"output would not be UTF-8", ZefaJsonObject{{"a", "\xff"}}, std::nullopt, nullptr},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    ZefaLogCapture capture;
    EXPECT_EQ(ZefaSDKUtils::objectToJsonString(row.value), row.text);
    expectLog(capture, row.errorFunction);
  }
}

TEST(ZefaSDKUtilsJsonTest, JsonStringToDictionaryAndArray) {
  const struct {
    const char* name;
    const char* text;
    Outcome dictionary;
    Outcome array;
  } rows[] = {
      {"object text", R"({"a":[1,{"b":null}]})", {true, nullptr}, {false, nullptr}},
      {"array text", "[1,2]", {false, nullptr}, {true, nullptr}},
      {"not JSON at all",
       "hello",
       {false, "jsonStringToDictionary(_:)"},
       {false, "jsonStringToArray(_:)"}},
      {"empty text", "", {false, "jsonStringToDictionary(_:)"}, {false, "jsonStringToArray(_:)"}},
      {"top-level scalar",
       "5",
       {false, "jsonStringToDictionary(_:)"},
       {false, "jsonStringToArray(_:)"}},
      {"truncated object",
       R"({"a":)",
       {false, "jsonStringToDictionary(_:)"},
       {false, "jsonStringToArray(_:)"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    {
      ZefaLogCapture capture;
      EXPECT_EQ(ZefaSDKUtils::jsonStringToDictionary(row.text).has_value(), row.dictionary.present);
      expectLog(capture, row.dictionary.errorFunction);
    }
    {
      ZefaLogCapture capture;
      EXPECT_EQ(ZefaSDKUtils::jsonStringToArray(row.text).has_value(), row.array.present);
      expectLog(capture, row.array.errorFunction);
    }
  }
  const auto array = ZefaSDKUtils::jsonStringToArray("[1,2]");
  ASSERT_TRUE(array);
  EXPECT_EQ(*array, (ZefaJsonArray{1, 2}));
  auto object = ZefaSDKUtils::jsonStringToDictionary(R"({"a":1})");
  ASSERT_TRUE(object);
  (*object)["b"] = 2;  // the caller owns and may change what it gets
  EXPECT_EQ(object->size(), 2u);
}

TEST(ZefaSDKUtilsJsonTest, ModelRoundTrip) {
  const Record records[] = {{"a/b", 7, std::nullopt, 0.5}, {"", -1, "note \"quoted\"", 1e300}};
  for (const Record& record : records) {
    const auto text = ZefaSDKUtils::modelToJsonString(record);
    ASSERT_TRUE(text);
    EXPECT_EQ(text->find("null"), std::string::npos) << "absent fields are left out: " << *text;
    EXPECT_EQ(ZefaSDKUtils::jsonStringToModel<Record>(*text), record) << *text;
  }
}

TEST(ZefaSDKUtilsJsonTest, ModelFailures) {
  const struct {
    const char* name;
    const char* text;
    const char* errorFunction;
  } rows[] = {
      {"malformed text is swallowed silently", "{\"name\":", nullptr},
      {"empty text is swallowed silently", "", nullptr},
      {"top-level scalar refused before decoding", "5", nullptr},
      {"missing member", R"({"name":"x","ratio":1})", "jsonStringToModel(_:_:)"},
      {"member of the wrong kind", R"({"name":1,"level":1,"ratio":1})", "jsonStringToModel(_:_:)"},
      {"float where an integer belongs", R"({"name":"x","level":1.5,"ratio":1})",
       "jsonStringToModel(_:_:)"},
      {"array instead of an object", "[1]", "jsonStringToModel(_:_:)"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    ZefaLogCapture capture;
    EXPECT_FALSE(ZefaSDKUtils::jsonStringToModel<Record>(row.text));
    expectLog(capture, row.errorFunction);
  }
  {
    ZefaLogCapture capture;
    EXPECT_FALSE(ZefaSDKUtils::jsonStringToModel<Scalar>("5"));
    expectLog(capture, nullptr);
  }
  {
    ZefaLogCapture capture;
    const auto record =
        ZefaSDKUtils::jsonStringToModel<Record>(R"({"name":"x","level":2,"ratio":1,"extra":[]})");
    ASSERT_TRUE(record) << "unknown members are ignored";
    EXPECT_EQ(record->level, 2);
    expectLog(capture, nullptr);
  }
}

TEST(ZefaSDKUtilsJsonTest, ModelEncodingFailures) {
  {
    ZefaLogCapture capture;
    EXPECT_FALSE(ZefaSDKUtils::modelToJsonString(Unencodable{}));
    expectLog(capture, "modelToJsonString(_:)");
  }
  {
    ZefaLogCapture capture;
    EXPECT_FALSE(ZefaSDKUtils::modelToJsonString(Record{"x", 1, std::nullopt, NAN}));
    expectLog(capture, "modelToJsonString(_:)");
  }
  {
    ZefaLogCapture capture;
    EXPECT_FALSE(ZefaSDKUtils::modelToJsonString(Record{"\xfe", 1, std::nullopt, 0}));
    expectLog(capture, nullptr);
  }
}

}  // namespace
