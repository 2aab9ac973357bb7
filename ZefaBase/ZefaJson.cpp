#include "ZefaBase/ZefaJson.h"

#include <cmath>
#include <limits>

namespace {

// Finds nesting deeper than the limit before the parser sees the text, so hostile input costs
// one linear pass and never a deep structure. Brackets inside strings do not count.
bool nestingWithinLimit(std::string_view text, int limit) {
  int depth = 0;
  bool inString = false;
  bool escaped = false;
  for (const char c : text) {
    if (inString) {
      if (escaped) {
        escaped = false;
      } else if (c == '\\') {
        escaped = true;
      } else if (c == '"') {
        inString = false;
      }
      continue;
    }
    if (c == '"') {
      inString = true;
    } else if (c == '[' || c == '{') {
      if (++depth > limit) return false;
    } else if ((c == ']' || c == '}') && depth > 0) {
      --depth;
    }
  }
  return true;
}

void setError(std::string* error, std::string text) {
  if (error) *error = std::move(text);
}

}  // namespace

std::optional<ZefaJson> ZefaJsonText::parse(std::string_view text, std::string* error) {
  std::optional<ZefaJson> value = parseValue(text, error);
  if (value && !value->is_object() && !value->is_array()) {
    setError(error, "JSON text did not start with array or object");
    return std::nullopt;
  }
  return value;
}

std::optional<ZefaJson> ZefaJsonText::parseValue(std::string_view text, std::string* error) {
  if (!nestingWithinLimit(text, kMaxDepth)) {
    setError(error, "JSON text nests arrays and objects deeper than " + std::to_string(kMaxDepth) +
                        " levels");
    return std::nullopt;
  }
  try {
    return ZefaJson::parse(text.begin(), text.end());
  } catch (const std::exception& e) {
    setError(error, e.what());
    return std::nullopt;
  }
}

bool ZefaJsonText::isSerialisable(const ZefaJson& value) {
  if (!value.is_object() && !value.is_array()) return false;
  // An explicit stack: values built in memory may nest deeper than any parsed text.
  std::vector<const ZefaJson*> pending{&value};
  while (!pending.empty()) {
    const ZefaJson* v = pending.back();
    pending.pop_back();
    switch (v->type()) {
      case ZefaJson::value_t::object:
        for (const auto& member : v->get_ref<const ZefaJsonObject&>()) {
          pending.push_back(&member.second);
        }
        break;
      case ZefaJson::value_t::array:
        for (const auto& element : v->get_ref<const ZefaJsonArray&>()) pending.push_back(&element);
        break;
      case ZefaJson::value_t::number_float:
        if (!std::isfinite(v->get<double>())) return false;
        break;
      case ZefaJson::value_t::binary:
      case ZefaJson::value_t::discarded:
        return false;
      default:
        break;
    }
  }
  return true;
}

std::optional<int64_t> ZefaJsonText::int64Value(const ZefaJson& value) {
  if (value.is_number_unsigned()) {
    const auto number = value.get<uint64_t>();
    if (number > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) return std::nullopt;
    return static_cast<int64_t>(number);
  }
  if (value.is_number_integer()) return value.get<int64_t>();
  return std::nullopt;
}

std::optional<std::string> ZefaJsonText::write(const ZefaJson& value, std::string* error,
                                               WriteFault* fault) {
  if (fault) *fault = WriteFault::None;
  std::string text;
  try {
    text = value.dump(-1, ' ', false, nlohmann::detail::error_handler_t::strict);
  } catch (const ZefaJson::type_error& e) {
    // 316: a text holds bytes that are not UTF-8.
    if (fault) *fault = e.id == 316 ? WriteFault::NotUtf8 : WriteFault::Serialiser;
    setError(error, e.what());
    return std::nullopt;
  } catch (const std::exception& e) {
    if (fault) *fault = WriteFault::Serialiser;
    setError(error, e.what());
    return std::nullopt;
  }
  // Compact output has no "/" outside strings, so escaping every one escapes those in strings.
  std::string::size_type slashes = 0;
  for (const char c : text) slashes += (c == '/');
  if (slashes == 0) return text;
  std::string escaped;
  escaped.reserve(text.size() + slashes);
  for (const char c : text) {
    if (c == '/') escaped.push_back('\\');
    escaped.push_back(c);
  }
  return escaped;
}
