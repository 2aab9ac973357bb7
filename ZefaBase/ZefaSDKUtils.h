#pragma once
// The library's class-level helpers: JSON conversion, value formatting and time, the app bundle,
// the keychain and device identifiers, the device and network environment, resource files, and
// the HTTP transport. None of them throws; failures are absent results, "", false, 0 or -1.
#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "ZefaBase/ZefaExport.h"
#include "ZefaBase/ZefaJson.h"

// Request headers, name to value, sent in the map's order.
using ZefaHeaders = std::map<std::string, std::string>;
// The transport's callbacks: the decoded reply object, or a message text.
using ZefaHttpSuccessCallback = std::function<void(const ZefaJsonObject& result)>;
using ZefaHttpFailedCallback = std::function<void(const std::string& message)>;

class ZEFA_EXPORT ZefaSDKUtils {
 public:
  // --- JSON (ZefaSDKUtils+Json.cpp) ---------------------------------------------------------
  // Compact JSON text of an object or array ("/" written as "\/"); none for other values.
  static std::optional<std::string> objectToJsonString(const ZefaJson& value);
  // The object (or array) that `text` holds; none, with an error line, when it is not JSON.
  static std::optional<ZefaJsonObject> jsonStringToDictionary(std::string_view text);
  static std::optional<ZefaJsonArray> jsonStringToArray(std::string_view text);
  // A record's JSON text through its to_json; none, with an error line, when encoding fails.
  template <class T>
  static std::optional<std::string> modelToJsonString(const T& model);
  // A record decoded from `text` through from_json. Malformed text gives none silently; JSON
  // that does not fit the record gives none with an error line.
  template <class T>
  static std::optional<T> jsonStringToModel(std::string_view text);

  // --- Value formatting and time (ZefaSDKUtils+Format.cpp) -----------------------------------
  static std::string boolToString(bool value);                  // "1" or "0"
  static std::string intToString(int64_t value);                // "%d": the low 32 bits, signed
  static std::string doubleToString(double value);              // "%f": six digits after the point
  static bool notNull(const std::optional<std::string>& text);  // present and not empty
  static int64_t getTimeStamp();                                // whole seconds since 1970
  // "yyyy-MM-dd HH:mm:ss" in GMT.
  static std::string nsDateToGmtString(std::chrono::system_clock::time_point date);

  // --- App bundle information (ZefaSDKUtils+Bundle.cpp) --------------------------------------
  static std::optional<ZefaJsonObject> getMainInfo();
  static std::optional<ZefaJson> getMainInfoValueForKey(const std::string& key);
  static std::optional<std::string> getMainInfoStringForKey(const std::string& key);
  static std::optional<std::string> appBundleID();
  static std::optional<std::string> appBundleShortVersion();
  static std::optional<std::string> appBuildVersion();
  // The short version folded into one number: 1.2.3 gives 10203. Stops the program on a
  // component that is not an integer.
  static int64_t appBundleVersionCode();
  // The content of resource `subPath` + `fileName`, from the bundle's top level or "Data/Raw".
  static std::optional<std::string> readFile(const std::string& fileName,
                                             const std::string& subPath);

  // --- Keychain and device identifiers (ZefaSDKUtils+Keychain.cpp) --------------------------
  static std::optional<std::string> keyChainId();
  static std::optional<std::string> idfv();
  static std::string idfa();
  static void saveInKeyChain(const std::string& service, const std::string& key,
                             const std::string& value);
  static std::string getFromKeyChain(const std::string& service, const std::string& key);
  static std::optional<ZefaJsonArray> listFromKeyChain(const std::string& service);
  static void removeFromKeyChain(const std::string& service, const std::string& key);

  // --- Device and network environment (ZefaSDKUtils+Device.cpp) -----------------------------
  static std::string getSystemVersion();
  static std::string getDeviceName();
  // uname's machine field. Stops the program on a byte with the high bit set.
  static std::string getDeviceVersionWithRaw();
  static std::string getNetworkStatus();  // always ""
  static int64_t isVpn();                 // 1 present, 0 absent, -1 settings unreadable
  static int64_t isProxy();               // 1 present, 0 absent, -1 settings unreadable

  // --- HTTP transport (ZefaSDKUtils+Http.cpp) -------------------------------------------------
  // Start one request and return at once. A bad address (or, for postJson, an unserialisable
  // body) calls `failed` before returning, on this thread; every later outcome arrives on the
  // main thread. Exactly one of the callbacks runs once (unless it is empty).
  static void get(const std::string& url, const std::optional<ZefaJsonObject>& params,
                  const std::optional<ZefaHeaders>& headers, double timeout,
                  ZefaHttpSuccessCallback success, ZefaHttpFailedCallback failed);
  static void postJson(const std::string& url, const std::optional<ZefaJsonObject>& params,
                       const std::optional<ZefaHeaders>& headers, double timeout,
                       ZefaHttpSuccessCallback success, ZefaHttpFailedCallback failed);

 private:
  // objectToJsonString for an object (a request body), without copying it into a JSON value.
  static std::optional<std::string> bodyToJsonString(const ZefaJsonObject& object);
  static std::optional<std::string> encodeModel(const ZefaJson& encoded);
  static std::optional<ZefaJson> parseForModel(std::string_view text);
  static void logModelError(std::string_view function, const std::exception& error);
};

// True when `text` holds nothing but white space and line breaks (Unicode's, not only ASCII).
ZEFA_EXPORT bool isBlank(std::string_view text);

template <class T>
std::optional<std::string> ZefaSDKUtils::modelToJsonString(const T& model) {
  ZefaJson encoded;
  try {
    encoded = model;
  } catch (const std::exception& error) {
    logModelError("modelToJsonString(_:)", error);
    return std::nullopt;
  }
  return encodeModel(encoded);
}

template <class T>
std::optional<T> ZefaSDKUtils::jsonStringToModel(std::string_view text) {
  const std::optional<ZefaJson> parsed = parseForModel(text);
  if (!parsed) return std::nullopt;
  try {
    return parsed->template get<T>();
  } catch (const std::exception& error) {
    logModelError("jsonStringToModel(_:_:)", error);
    return std::nullopt;
  }
}
