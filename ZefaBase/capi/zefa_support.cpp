#include "ZefaBase/capi/zefa_support.h"

#include <cstring>

#include "ZefaBase/ZefaFatal.h"

namespace zefa::capi {

namespace {

// What precedes every string handed to a caller.
struct StringHeader {
  uint32_t tag;  // Kind::String while the string lives
  uint32_t reserved;
  uint64_t size;
};
static_assert(sizeof(StringHeader) == 16, "keeps the text aligned as malloc's blocks are");

// A string's text is at least this long (NUL padding), so a string wrongly given to a handle's
// release has its tag read inside its own block.
constexpr size_t kMinimumText = 16;

// Where a handle's tag lies in it (offsetof is not defined for a polymorphic class).
size_t tagOffset() {
  static const size_t offset = [] {
    const zefa_listener probe;
    return static_cast<size_t>(reinterpret_cast<const char*>(&probe.tag) -
                               reinterpret_cast<const char*>(static_cast<const Handle*>(&probe)));
  }();
  return offset;
}

// Marks memory about to be freed, so that a second release of it is caught. The store is
// volatile: the compiler may not drop it as a write to memory about to die.
void markDead(uint32_t& tag) { *static_cast<volatile uint32_t*>(&tag) = 0; }

[[noreturn]] void stop(const char* function, const std::string& problem) {
  ZefaFatal::stop(std::string(function) + ": " + problem);
}

}  // namespace

const char* kindName(Kind kind) noexcept {
  switch (kind) {
    case Kind::StatusCode:
      return "zefa_ZefaStatusCode";
    case Kind::StatusCodeBuilder:
      return "zefa_ZefaStatusCodeBuilder";
    case Kind::Log:
      return "zefa_ZefaLog";
    case Kind::LifecycleService:
      return "zefa_ZefaSDKLifecycleService";
    case Kind::LoggerService:
      return "zefa_ZefaThirdUploadLoggerService";
    case Kind::Listener:
      return "zefa_listener";
    case Kind::ServerCallRetry:
      return "zefa_ZefaServerCallRetry";
    case Kind::StaticInfo:
      return "zefa_ZefaStaticInfo";
    case Kind::String:
      return "string";
  }
  return nullptr;
}

void release(const void* pointer, std::optional<Kind> expected, const char* function) noexcept {
  if (pointer == nullptr) return;
  uint32_t tag = 0;
  std::memcpy(&tag, static_cast<const char*>(pointer) + tagOffset(), sizeof tag);
  const Kind kind = static_cast<Kind>(tag);
  const char* name = kindName(kind);
  if (name == nullptr || kind == Kind::String) {
    stop(function, "not a live handle (released already, a string, or not from this library)");
  }
  if (expected && kind != *expected) {
    stop(function, std::string("given a ") + name + ", which this function does not release");
  }
  auto* handle = const_cast<Handle*>(static_cast<const Handle*>(pointer));
  if (handle->shared) return;
  markDead(handle->tag);
  delete handle;
}

char* newString(std::string_view text) noexcept {
  const size_t room = std::max(text.size() + 1, kMinimumText);
  auto* header = static_cast<StringHeader*>(std::malloc(sizeof(StringHeader) + room));
  if (header == nullptr) return nullptr;
  header->tag = static_cast<uint32_t>(Kind::String);
  header->reserved = 0;
  header->size = text.size();
  char* copy = reinterpret_cast<char*>(header + 1);
  if (!text.empty()) std::memcpy(copy, text.data(), text.size());
  std::memset(copy + text.size(), 0, room - text.size());
  return copy;
}

void freeString(char* text) noexcept {
  if (text == nullptr) return;
  auto* header = reinterpret_cast<StringHeader*>(text) - 1;
  if (header->tag != static_cast<uint32_t>(Kind::String)) {
    stop("zefa_string_free",
         "not a live string (freed already, a handle, or not from this library)");
  }
  markDead(header->tag);
  std::free(header);
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

using zefa::capi::Kind;
using zefa::capi::release;

void zefa_release(const void* handle) { release(handle, std::nullopt, "zefa_release"); }

void zefa_string_free(char* text) { zefa::capi::freeString(text); }

// One release per handle type: the handle must be of that type.
#define ZEFA_CAPI_TYPED_RELEASE(type, kind) \
  void type##_release(const type* handle) { release(handle, Kind::kind, #type "_release"); }
ZEFA_CAPI_TYPED_RELEASE(zefa_ZefaStatusCode, StatusCode)
ZEFA_CAPI_TYPED_RELEASE(zefa_ZefaStatusCodeBuilder, StatusCodeBuilder)
ZEFA_CAPI_TYPED_RELEASE(zefa_ZefaLog, Log)
ZEFA_CAPI_TYPED_RELEASE(zefa_ZefaSDKLifecycleService, LifecycleService)
ZEFA_CAPI_TYPED_RELEASE(zefa_ZefaThirdUploadLoggerService, LoggerService)
ZEFA_CAPI_TYPED_RELEASE(zefa_listener, Listener)
ZEFA_CAPI_TYPED_RELEASE(zefa_ZefaServerCallRetry, ServerCallRetry)
ZEFA_CAPI_TYPED_RELEASE(zefa_ZefaStaticInfo, StaticInfo)
#undef ZEFA_CAPI_TYPED_RELEASE

}  // extern "C"
