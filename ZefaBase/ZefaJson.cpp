#include "ZefaBase/ZefaJson.h"

#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

// Finds what the parser must not see, in one linear pass before it runs: nesting deeper than
// the limit (so hostile input never builds a deep structure) and NUL bytes (which the parser
// would take for the end of the text, ignoring whatever follows). Brackets inside strings do
// not count. Returns the fault, or none.
std::optional<std::string> scanForFaults(std::string_view text, int limit) {
  int depth = 0;
  bool inString = false;
  bool escaped = false;
  for (const char c : text) {
    if (c == '\0') return "JSON text holds a NUL byte";
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
      if (++depth > limit) {
        return "JSON text nests arrays and objects deeper than " + std::to_string(limit) +
               " levels";
      }
    } else if ((c == ']' || c == '}') && depth > 0) {
      --depth;
    }
  }
  return std::nullopt;
}

// Checks the values in `pending` and everything below them; each comes with its depth.
bool serialisable(std::vector<std::pair<const ZefaJson*, int>> pending) {
  while (!pending.empty()) {
    const auto [v, depth] = pending.back();
    pending.pop_back();
    switch (v->type()) {
      case ZefaJson::value_t::object:
        if (depth > ZefaJsonText::kMaxDepth) return false;
        for (const auto& member : v->get_ref<const ZefaJsonObject&>()) {
          pending.emplace_back(&member.second, depth + 1);
        }
        break;
      case ZefaJson::value_t::array:
        if (depth > ZefaJsonText::kMaxDepth) return false;
        for (const auto& element : v->get_ref<const ZefaJsonArray&>()) {
          pending.emplace_back(&element, depth + 1);
        }
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
  if (std::optional<std::string> fault = scanForFaults(text, kMaxDepth)) {
    setError(error, std::move(*fault));
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
  return serialisable({{&value, 1}});
}

bool ZefaJsonText::isSerialisable(const ZefaJsonObject& object) {
  std::vector<std::pair<const ZefaJson*, int>> members;
  members.reserve(object.size());
  for (const auto& member : object) members.emplace_back(&member.second, 2);
  return serialisable(std::move(members));
}

ZefaJsonObject ZefaJsonText::copy(const ZefaJsonObject& object) {
  ZefaJsonObject result;
  // Containers are made empty first and filled when their turn comes; a container's children
  // are all in place before pointers to them are taken, so none moves afterwards.
  std::vector<std::pair<const ZefaJson*, ZefaJson*>> pending;
  const auto shallow = [](const ZefaJson& from) {
    if (from.is_object()) return ZefaJson(ZefaJson::value_t::object);
    if (from.is_array()) return ZefaJson(ZefaJson::value_t::array);
    return from;
  };
  for (const auto& member : object) result.emplace(member.first, shallow(member.second));
  for (const auto& member : object) pending.emplace_back(&member.second, &result[member.first]);
  while (!pending.empty()) {
    const auto [from, to] = pending.back();
    pending.pop_back();
    if (from->is_object()) {
      auto& target = to->get_ref<ZefaJsonObject&>();
      const auto& source = from->get_ref<const ZefaJsonObject&>();
      for (const auto& member : source) target.emplace(member.first, shallow(member.second));
      auto slot = target.begin();
      for (const auto& member : source) pending.emplace_back(&member.second, &(slot++)->second);
    } else if (from->is_array()) {
      auto& target = to->get_ref<ZefaJsonArray&>();
      const auto& source = from->get_ref<const ZefaJsonArray&>();
      target.reserve(source.size());
      for (const auto& element : source) target.push_back(shallow(element));
      for (size_t i = 0; i < source.size(); ++i) pending.emplace_back(&source[i], &target[i]);
    }
  }
  return result;
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
