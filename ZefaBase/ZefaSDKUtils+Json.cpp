#include "ZefaBase/ZefaLog.h"
#include "ZefaBase/ZefaSDKUtils.h"

namespace {

constexpr std::string_view kFile = "ZefaBase/ZefaSDKUtils";

void logJsonError(std::string_view function, int64_t line, const std::string& description) {
  ZefaLog::e([&] { return "Json operation failed error: " + description + ";"; },
             ZefaLogSite{kFile, function, line});
}

// Parses an object or array text, writing the error line of `function` when it is not JSON.
std::optional<ZefaJson> parseLogged(std::string_view text, std::string_view function,
                                    int64_t line) {
  std::string error;
  std::optional<ZefaJson> value = ZefaJsonText::parse(text, &error);
  if (!value) logJsonError(function, line, error);
  return value;
}

// Writes JSON text. Output that would not be UTF-8 is dropped silently; any other fault of the
// serialiser writes the error line of `function`.
template <class Value>
std::optional<std::string> writeLogged(const Value& value, std::string_view function,
                                       int64_t line) {
  std::string error;
  ZefaJsonText::WriteFault fault = ZefaJsonText::WriteFault::None;
  std::optional<std::string> text = ZefaJsonText::write(value, &error, &fault);
  if (fault == ZefaJsonText::WriteFault::Serialiser) logJsonError(function, line, error);
  return text;
}

}  // namespace

std::optional<std::string> ZefaSDKUtils::objectToJsonString(const ZefaJson& value) {
  if (!ZefaJsonText::isSerialisable(value)) return std::nullopt;
  return writeLogged(value, "objectToJsonString(_:)", 19);
}

std::optional<std::string> ZefaSDKUtils::bodyToJsonString(const ZefaJsonObject& object) {
  if (!ZefaJsonText::isSerialisable(object)) return std::nullopt;
  return writeLogged(object, "objectToJsonString(_:)", 19);
}

std::optional<ZefaJsonObject> ZefaSDKUtils::jsonStringToDictionary(std::string_view text) {
  std::optional<ZefaJson> value = parseLogged(text, "jsonStringToDictionary(_:)", 32);
  if (!value || !value->is_object()) return std::nullopt;
  return std::move(value->get_ref<ZefaJsonObject&>());
}

std::optional<ZefaJsonArray> ZefaSDKUtils::jsonStringToArray(std::string_view text) {
  std::optional<ZefaJson> value = parseLogged(text, "jsonStringToArray(_:)", 45);
  if (!value || !value->is_array()) return std::nullopt;
  return std::move(value->get_ref<ZefaJsonArray&>());
}

std::optional<std::string> ZefaSDKUtils::encodeModel(const ZefaJson& encoded) {
  // The record encoder refuses numbers that JSON cannot carry, wherever they sit.
  const ZefaJson wrapped = ZefaJsonArray{encoded};
  if (!ZefaJsonText::isSerialisable(wrapped)) {
    logJsonError("modelToJsonString(_:)", 58, "a number that is not finite has no JSON form");
    return std::nullopt;
  }
  return writeLogged(encoded, "modelToJsonString(_:)", 58);
}

std::optional<ZefaJson> ZefaSDKUtils::parseForModel(std::string_view text) {
  // Malformed text is dropped silently here, unlike in the other helpers; callers rely on it.
  std::optional<ZefaJson> value = ZefaJsonText::parse(text);
  if (!value || !ZefaJsonText::isSerialisable(*value)) return std::nullopt;
  return value;
}

void ZefaSDKUtils::logModelError(std::string_view function, const std::exception& error) {
  logJsonError(function, function == "modelToJsonString(_:)" ? 58 : 73, error.what());
}
