#include "ZefaBase/entity/ZefaStaticInfo.h"

#include <stdexcept>
#include <utility>

#include "ZefaBase/ZefaLog.h"
#include "ZefaBase/ZefaSDKUtils.h"
#include "platform/ZefaPlatform.h"

namespace {

using TextField = std::optional<std::string> ZefaStaticInfo::*;
using IntegerField = std::optional<int64_t> ZefaStaticInfo::*;

// The text fields in field order; the two integer fields follow them.
constexpr std::array<TextField, 15> kTextFields{
    &ZefaStaticInfo::gameName,   &ZefaStaticInfo::pn,
    &ZefaStaticInfo::appVersion, &ZefaStaticInfo::deviceid,
    &ZefaStaticInfo::platform,   &ZefaStaticInfo::idfa,
    &ZefaStaticInfo::uid,        &ZefaStaticInfo::sessionId,
    &ZefaStaticInfo::idfv,       &ZefaStaticInfo::android_id,
    &ZefaStaticInfo::band,       &ZefaStaticInfo::model,
    &ZefaStaticInfo::deviceName, &ZefaStaticInfo::systemVersion,
    &ZefaStaticInfo::network};
constexpr std::array<IntegerField, 2> kIntegerFields{&ZefaStaticInfo::isVpn,
                                                     &ZefaStaticInfo::isProxy};

// "%s_%d_%d": the vendor identifier, the seconds since 1970 and a draw from 0 to 99, the two
// numbers printed as 32-bit signed integers.
std::string makeSessionId(const std::optional<std::string>& vendor) {
  const std::string seconds = ZefaSDKUtils::intToString(ZefaSDKUtils::getTimeStamp());
  const uint32_t draw = ZefaPlatform::current().clock().randomUniform(100);
  return vendor.value_or("") + "_" + seconds + "_" + std::to_string(draw);
}

// Same rule as ZefaSDKUtils::isProxy(), worked out here from a fresh reading of the settings.
int64_t proxyPresent() {
  const std::optional<ZefaJsonObject> settings = ZefaPlatform::current().device().proxySettings();
  if (!settings) return -1;
  return settings->contains("HTTPProxy") ? 1 : 0;
}

std::string kindOf(const ZefaJson& value) {
  if (value.is_number_float()) return "a fractional number";
  return value.type_name();
}

}  // namespace

ZefaStaticInfo::ZefaStaticInfo(std::string name) {
  gameName = std::move(name);
  pn = ZefaSDKUtils::appBundleID().value_or("");
  appVersion = ZefaSDKUtils::getMainInfoStringForKey("CFBundleShortVersionString");
  idfv = ZefaSDKUtils::idfv();
  deviceid = ZefaSDKUtils::keyChainId();
  ZefaLog::i(
      [&] {
        return "static info init --> idfv is " + idfv.value_or("") + "; keyChainId is " +
               deviceid.value_or("") + ";";
      },
      ZefaLogSite{"ZefaBase/entity/ZefaStaticInfo", "init(_:)", 37});
  platform = "ios";
  idfa = ZefaPlatform::current().device().advertisingIdentifier();
  uid = "";
  sessionId = makeSessionId(idfv);
  android_id = "";
  band = "apple";
  model = ZefaSDKUtils::getDeviceVersionWithRaw();
  deviceName = ZefaPlatform::current().device().name();
  systemVersion = ZefaPlatform::current().device().systemVersion();
  network = "";
  isVpn = ZefaSDKUtils::isVpn();
  isProxy = proxyPresent();
}

ZefaJson ZefaStaticInfo::toJson() const {
  ZefaJson json = ZefaJsonObject();
  for (size_t i = 0; i < kTextFields.size(); ++i) {
    if (const auto& value = this->*kTextFields[i]) json[std::string(kCodingKeys[i])] = *value;
  }
  for (size_t i = 0; i < kIntegerFields.size(); ++i) {
    if (const auto& value = this->*kIntegerFields[i]) {
      json[std::string(kCodingKeys[kTextFields.size() + i])] = *value;
    }
  }
  return json;
}

ZefaStaticInfo ZefaStaticInfo::fromJson(const ZefaJson& json) {
  if (!json.is_object()) {
    throw std::invalid_argument("ZefaStaticInfo: expected an object, found " + kindOf(json));
  }
  const auto& members = json.get_ref<const ZefaJsonObject&>();
  ZefaStaticInfo info{Blank{}};
  // Decoded in field order, so the first member of the wrong kind is the one reported.
  for (size_t i = 0; i < kCodingKeys.size(); ++i) {
    const std::string key(kCodingKeys[i]);
    const auto it = members.find(key);
    if (it == members.end() || it->second.is_null()) continue;
    const ZefaJson& value = it->second;
    if (i < kTextFields.size()) {
      if (!value.is_string()) {
        throw std::invalid_argument("ZefaStaticInfo: \"" + key + "\" expected text, found " +
                                    kindOf(value));
      }
      info.*kTextFields[i] = value.get<std::string>();
    } else {
      // An integer member must hold an integer that fits 64 signed bits.
      const std::optional<int64_t> number = ZefaJsonText::int64Value(value);
      if (!number) {
        throw std::invalid_argument("ZefaStaticInfo: \"" + key +
                                    "\" expected a 64-bit integer, found " + kindOf(value));
      }
      info.*kIntegerFields[i - kTextFields.size()] = number;
    }
  }
  return info;
}
