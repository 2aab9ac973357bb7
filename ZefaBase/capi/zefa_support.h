#pragma once
// Inside the C interface: the base of every handle, string and JSON crossings, and the guard that
// keeps C++ exceptions from reaching C callers.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "ZefaBase/ZefaJson.h"
#include "ZefaBase/ZefaSDKLifecycleProtocol.h"
#include "ZefaBase/ZefaStatusCode.h"
#include "ZefaBase/ZefaThirdUploadLoggerProtocol.h"
#include "ZefaBase/capi/zefa.h"

namespace zefa::capi {

// What a handle or a returned string is. Each carries its kind, so a release of the wrong kind,
// of a string, or of something released already stops the program instead of corrupting memory.
enum class Kind : uint32_t {
  StatusCode = 0x5A454601,
  StatusCodeBuilder,
  Log,
  LifecycleService,
  LoggerService,
  Listener,
  ServerCallRetry,
  StaticInfo,
  String = 0x5A454650,
};

// The C type name of a kind, for the fatal message.
const char* kindName(Kind kind) noexcept;

// Every handle type derives from this, first and only base, so zefa_release can end any of them.
struct Handle {
  explicit Handle(Kind kind) : tag(static_cast<uint32_t>(kind)) {}
  virtual ~Handle() = default;
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;

  // The Kind while the handle lives; overwritten when it is released.
  uint32_t tag;
  // A shared handle lives for the whole process; releasing it does nothing.
  bool shared = false;
};

// Ends a caller's reference: nothing for NULL or a shared handle. `expected` is the kind a typed
// release takes (none: any handle); anything else stops the program, naming `function`.
void release(const void* handle, std::optional<Kind> expected, const char* function) noexcept;

// A malloc'd copy for the caller (freed with zefa_string_free); NULL when memory runs out. It
// carries a String header in front, checked when it is freed.
char* newString(std::string_view text) noexcept;
// Frees a string made by newString; anything else stops the program.
void freeString(char* text) noexcept;
// The same for an optional text: NULL when it is absent.
char* newStringOrNull(const std::optional<std::string>& text) noexcept;
// A C string that may be NULL, as an optional text.
std::optional<std::string> optionalText(const char* text);
// The compact JSON text of any value, scalars included; none when it cannot be written (a text
// in it is not UTF-8).
std::optional<std::string> jsonText(const ZefaJson& value);
// The text for a C caller: its characters, or NULL when it is absent. Valid while `text` lives.
const char* cText(const std::optional<std::string>& text) noexcept;
// The value that `json` holds, scalars included, under the library's parsing rules (nesting
// limit, UTF-8); none when it is not JSON text.
std::optional<ZefaJson> parseValue(const char* json);
// The object that `json` holds; none when it is not a JSON object text.
std::optional<ZefaJsonObject> parseObject(const char* json);

// Runs `body`; an exception becomes `fallback`.
template <class R, class F>
R guard(R fallback, F&& body) noexcept {
  try {
    return body();
  } catch (...) {
    return fallback;
  }
}

template <class F>
void guard(F&& body) noexcept {
  try {
    body();
  } catch (...) {
    // Nothing crosses into C; the call simply has no effect from here on.
  }
}

// Takes `item` out of a hub's listener list; true when it was there.
template <class List, class Item>
bool removeFrom(List& list, const Item& item) {
  const auto removed = std::remove(list.begin(), list.end(), item);
  const bool found = removed != list.end();
  list.erase(removed, list.end());
  return found;
}

}  // namespace zefa::capi

// A listener table registered with a hub: the adapter object that the hub's list holds.
struct zefa_listener final : zefa::capi::Handle {
  zefa_listener() : Handle(zefa::capi::Kind::Listener) {}
  std::shared_ptr<ZefaSDKLifecycleProtocol> lifecycle;
  std::shared_ptr<ZefaThirdUploadLoggerProtocol> logger;
};

// A status code: the caller's own, a shared predefined one, or one lent to a callback.
struct zefa_ZefaStatusCode final : zefa::capi::Handle {
  explicit zefa_ZefaStatusCode(ZefaStatusCodeRef code)
      : Handle(zefa::capi::Kind::StatusCode), object(std::move(code)) {}
  ZefaStatusCodeRef object;
};
