#include "ZefaBase/capi/zefa_support.h"

#include <cstring>

namespace zefa::capi {

char* newString(std::string_view text) noexcept {
  char* copy = static_cast<char*>(std::malloc(text.size() + 1));
  if (copy == nullptr) return nullptr;
  if (!text.empty()) std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  return copy;
}

char* newStringOrNull(const std::optional<std::string>& text) noexcept {
  return text ? newString(std::string_view(*text)) : nullptr;
}

std::optional<std::string> optionalText(const char* text) {
  if (text == nullptr) return std::nullopt;
  return std::string(text);
}

std::optional<std::string> jsonText(const ZefaJson& value) {
  if (value.is_object() || value.is_array()) return ZefaJsonText::write(value);
  // Scalars are written the same way, wrapped in an array that is then peeled off again.
  const std::optional<std::string> wrapped = ZefaJsonText::write(ZefaJsonArray{value});
  if (!wrapped || wrapped->size() < 2) return std::nullopt;
  return wrapped->substr(1, wrapped->size() - 2);
}

const char* cText(const std::optional<std::string>& text) noexcept {
  return text ? text->c_str() : nullptr;
}

std::optional<ZefaJson> parseValue(const char* json) {
  if (json == nullptr) return std::nullopt;
  return ZefaJsonText::parseValue(json);
}

std::optional<ZefaJsonObject> parseObject(const char* json) {
  if (json == nullptr) return std::nullopt;
  std::optional<ZefaJson> parsed = ZefaJsonText::parse(json);
  if (!parsed || !parsed->is_object()) return std::nullopt;
  return std::move(parsed->get_ref<ZefaJsonObject&>());
}

}  // namespace zefa::capi

extern "C" {

void zefa_release(const void* handle) {
  if (handle == nullptr) return;
  const auto* base = static_cast<const zefa::capi::Handle*>(handle);
  if (base->shared) return;
  delete base;
}

void zefa_string_free(char* text) { std::free(text); }

}  // extern "C"
