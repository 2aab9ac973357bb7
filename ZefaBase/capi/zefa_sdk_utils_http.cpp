// ZefaSDKUtils' HTTP transport in the C interface: bodies and headers cross as JSON text, the
// outcome as a JSON text or a message handed to C callbacks with the caller's user_data.
#include "ZefaBase/ZefaSDKUtils.h"
#include "ZefaBase/capi/zefa_support.h"

using zefa::capi::guard;

namespace {

constexpr const char* kParameterError = "request parameter error";

using Transport = void (*)(const std::string&, const std::optional<ZefaJsonObject>&,
                           const std::optional<ZefaHeaders>&, double, ZefaHttpSuccessCallback,
                           ZefaHttpFailedCallback);

// Headers as a JSON object of texts; none when the text is another shape.
std::optional<ZefaHeaders> headersFrom(const ZefaJsonObject& object) {
  ZefaHeaders headers;
  for (const auto& [name, value] : object) {
    if (!value.is_string()) return std::nullopt;
    headers[name] = value.get<std::string>();
  }
  return headers;
}

void start(Transport transport, const char* url, const char* paramsJson, const char* headersJson,
           double timeout, zefa_json_callback success, zefa_text_callback failed, void* userData) {
  const auto fail = [&](const char* message) {
    if (failed != nullptr) failed(message, userData);
  };
  std::optional<ZefaJsonObject> params;
  std::optional<ZefaHeaders> headers;
  if (paramsJson != nullptr) params = zefa::capi::parseObject(paramsJson);
  if (headersJson != nullptr) {
    if (const std::optional<ZefaJsonObject> object = zefa::capi::parseObject(headersJson)) {
      headers = headersFrom(*object);
    }
  }
  if (url == nullptr || (paramsJson != nullptr && !params) ||
      (headersJson != nullptr && !headers)) {
    fail(kParameterError);
    return;
  }
  ZefaHttpSuccessCallback onSuccess;
  if (success != nullptr) {
    onSuccess = [success, userData](const ZefaJsonObject& result) {
      const std::optional<std::string> json = zefa::capi::jsonText(result);
      success(zefa::capi::cText(json), userData);
    };
  }
  ZefaHttpFailedCallback onFailed;
  if (failed != nullptr) {
    onFailed = [failed, userData](const std::string& message) {
      failed(message.c_str(), userData);
    };
  }
  transport(url, params, headers, timeout, std::move(onSuccess), std::move(onFailed));
}

}  // namespace

extern "C" {

void zefa_ZefaSDKUtils_get______(const char* url, const char* params_json, const char* headers_json,
                                 double timeout, zefa_json_callback success,
                                 zefa_text_callback failed, void* user_data) {
  guard([&] {
    start(&ZefaSDKUtils::get, url, params_json, headers_json, timeout, success, failed, user_data);
  });
}

void zefa_ZefaSDKUtils_postJson______(const char* url, const char* params_json,
                                      const char* headers_json, double timeout,
                                      zefa_json_callback success, zefa_text_callback failed,
                                      void* user_data) {
  guard([&] {
    start(&ZefaSDKUtils::postJson, url, params_json, headers_json, timeout, success, failed,
          user_data);
  });
}

}  // extern "C"
