#pragma once
// The door to the SDK's backend: process-wide connection settings, the request headers and URL
// (with the session token from the stored login record), and the entry points that post a JSON
// body to a backend path. Outcomes arrive on the main thread, except a missing login.
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "ZefaBase/ZefaExport.h"
#include "ZefaBase/ZefaJson.h"
#include "ZefaBase/ZefaSDKUtils.h"
#include "ZefaBase/ZefaStatusCode.h"

// Receives the reply's "data" object.
using ZefaSuccessCallback = std::function<void(const ZefaJsonObject& data)>;
// Receives the status of a failed call.
using ZefaFailedCallback = std::function<void(const ZefaStatusCodeRef& status)>;

class ZEFA_EXPORT ZefaServerCall {
 public:
  // Settings: written at start-up, only read afterwards (no lock is taken). They may be written
  // from a static object's constructor: they are ready before any dynamic initialisation.
  static std::string HOST;                     // base address, scheme included
  static std::optional<std::string> SET_HOST;  // the "Host" header's value, when present
  static std::string DEVICE_ID_KEY;            // the name of the device id header
  static std::string DEVICE_ID;                // the device id

  static void setHostAndDeviceId(std::string host, std::string setHost, std::string deviceId);
  // "Content-Type" and "Accept" (both "application/json"), the device id header and, when
  // SET_HOST is present, "Host". Stops the program when DEVICE_ID_KEY names one of the first two.
  static ZefaHeaders getRequestHeaders();
  // HOST + path, with "?sessionToken=" + the token from the login record (useDiskToken; the
  // argument is then ignored) or from `token`. None when the login record has no token.
  static std::optional<std::string> newUrl(bool useDiskToken, std::string_view path,
                                           const std::optional<std::string>& token);

  // Posts `params` to HOST + path. `success` gets the reply's "data"; `failed` gets a status.
  // Without a usable token (useDiskToken) `failed` runs at once on this thread.
  static void postJsonAsync(bool useDiskToken, std::string_view path, const ZefaJsonObject& params,
                            ZefaSuccessCallback success, ZefaFailedCallback failed);
  static void postJsonAsyncWithToken(bool useDiskToken, std::string_view path,
                                     const ZefaJsonObject& params,
                                     const std::optional<std::string>& token,
                                     ZefaSuccessCallback success, ZefaFailedCallback failed);
  // `retryTime` is not used: calls made here are never retried.
  static void postJsonAsyncWithTokenAndRetry(bool useDiskToken, std::string_view path,
                                             const ZefaJsonObject& params,
                                             const std::optional<std::string>& token,
                                             int64_t retryTime, ZefaSuccessCallback success,
                                             ZefaFailedCallback failed);

  // "sessionToken" (a string) of the stored login record.
  static std::optional<std::string> getSessionTokenFormDisk();
  // "gameAccountId" (a JSON integer within 64 bits) of the stored login record.
  static std::optional<int64_t> getGameAccountIdFormDisk();

 private:
  ZefaServerCall() = delete;
};
