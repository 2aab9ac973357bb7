#pragma once
// The record of static facts about the game, the app build, the device and the session that
// the SDK's modules send with their reports. Filled once from the platform at construction,
// encoded to and decoded from a JSON object whose keys are the field names.
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "ZefaBase/ZefaExport.h"
#include "ZefaBase/ZefaJson.h"

class ZEFA_EXPORT ZefaStaticInfo {
 public:
  // Fills every field from the bundle, the keychain, the device and the clock, and writes one
  // informational log line.
  explicit ZefaStaticInfo(std::string gameName);
  // A record exists only through the constructor above or through decoding.
  ZefaStaticInfo() = delete;

  std::optional<std::string> gameName;
  std::optional<std::string> pn;
  std::optional<std::string> appVersion;
  std::optional<std::string> deviceid;
  std::optional<std::string> platform;
  std::optional<std::string> idfa;
  std::optional<std::string> uid;
  std::optional<std::string> sessionId;
  std::optional<std::string> idfv;
  std::optional<std::string> android_id;
  std::optional<std::string> band;
  std::optional<std::string> model;
  std::optional<std::string> deviceName;
  std::optional<std::string> systemVersion;
  std::optional<std::string> network;
  std::optional<int64_t> isVpn;
  std::optional<int64_t> isProxy;

  // The JSON keys, in field order.
  static constexpr std::array<std::string_view, 17> kCodingKeys{
      "gameName",  "pn",    "appVersion", "deviceid", "platform", "idfa",       "uid",
      "sessionId", "idfv",  "android_id", "band",     "model",    "deviceName", "systemVersion",
      "network",   "isVpn", "isProxy"};

  // A JSON object with one member per present field, in field order; absent fields are left
  // out (never written as null).
  ZefaJson toJson() const;
  // Decodes a record from a JSON object: a missing or null member leaves its field absent,
  // unknown members are ignored. Throws std::invalid_argument when `json` is not an object or a
  // member has the wrong kind (a number for text, text or a fraction for an integer).
  static ZefaStaticInfo fromJson(const ZefaJson& json);

 private:
  struct Blank {};
  explicit ZefaStaticInfo(Blank) {}
};

// Encoding and decoding through nlohmann's serializer, which reaches the record without a
// default constructor (ZefaSDKUtils::modelToJsonString / jsonStringToModel, addModel / model).
namespace nlohmann {
template <>
struct adl_serializer<ZefaStaticInfo> {
  static void to_json(ZefaJson& json, const ZefaStaticInfo& info) { json = info.toJson(); }
  static ZefaStaticInfo from_json(const ZefaJson& json) { return ZefaStaticInfo::fromJson(json); }
};
}  // namespace nlohmann
