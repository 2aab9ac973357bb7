#include "ZefaBase/ZefaJson.h"

#if defined(ZEFA_HAVE_SIMDJSON)
#include <simdjson.h>
#endif

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ZefaBase/ZefaUtf8.h"

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
bool serialisable(std::vector<std::pair<const ZefaJson*, int>>& pending) {
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

// The per-thread work lists of release() and the writer are kept for the next value up to this
// many entries; a value that needed more gives the memory back.
constexpr size_t kKeptPerThread = 4096;

// A per-thread work list, empty, whose room is kept between uses up to kKeptPerThread entries.
// Nothing that fills one calls out of this file, so a thread never uses one twice at once.
template <class Entry>
class KeptWorkList {
 public:
  KeptWorkList() { list().clear(); }
  ~KeptWorkList() {
    list().clear();
    if (list().capacity() > kKeptPerThread) list().shrink_to_fit();
  }
  KeptWorkList(const KeptWorkList&) = delete;
  KeptWorkList& operator=(const KeptWorkList&) = delete;
  std::vector<Entry>& list() {
    thread_local std::vector<Entry> entries;
    return entries;
  }
};

void setError(std::string* error, std::string text) {
  if (error) *error = std::move(text);
}

#if defined(ZEFA_HAVE_SIMDJSON)
namespace dom = simdjson::dom;

// Calls `make` with what the value of `source` is made from (a scalar, or the kind of an empty
// container) and returns what it returns, so that the value is made where it will live. Numbers
// keep the kinds nlohmann's parser gives them: a non-negative integer is unsigned, a number with
// a fraction or exponent a float. (The one text told apart by nlohmann alone is "-0", a signed
// integer zero there and an unsigned one here: the same value, equal, written alike.)
template <class Make>
ZefaJson& made(dom::element source, Make&& make) {
  switch (source.type()) {
    case dom::element_type::OBJECT:
      return make(ZefaJson::value_t::object);
    case dom::element_type::ARRAY:
      return make(ZefaJson::value_t::array);
    case dom::element_type::INT64: {
      const int64_t number = source.get_int64().value_unsafe();
      if (number >= 0) return make(static_cast<uint64_t>(number));
      return make(number);
    }
    case dom::element_type::UINT64:
      return make(source.get_uint64().value_unsafe());
    case dom::element_type::DOUBLE:
      return make(source.get_double().value_unsafe());
    case dom::element_type::STRING:
      return make(source.get_string().value_unsafe());
    case dom::element_type::BOOL:
      return make(source.get_bool().value_unsafe());
    default:
      return make(nullptr);
  }
}

// Builds the library's value from simdjson's document, depth first and without recursion: a
// container is made empty and filled when its frame comes up, and its members are all in place
// before the next sibling is added to its parent, so the pointers on the stack stay valid. When
// a member repeats, the last one wins in the place of the first, as in nlohmann's parser.
struct Frame {
  ZefaJson* target;
  dom::object::iterator member, members;
  dom::array::iterator element, elements;
};

void build(dom::element root, ZefaJson& result, std::vector<Frame>& stack) {
  stack.clear();
  // Queues a container just made from `source` to be filled.
  const auto open = [&stack](ZefaJson& target, dom::element source) {
    if (auto* object = target.get_ptr<ZefaJsonObject*>()) {
      const dom::object members = source.get_object().value_unsafe();
      object->reserve(members.size());
      stack.push_back({&target, members.begin(), members.end(), {}, {}});
    } else if (auto* array = target.get_ptr<ZefaJsonArray*>()) {
      const dom::array elements = source.get_array().value_unsafe();
      array->reserve(elements.size());
      stack.push_back({&target, {}, {}, elements.begin(), elements.end()});
    }
  };
  open(made(root, [&result](auto&& from) -> ZefaJson& { return result = ZefaJson(from); }), root);
  while (!stack.empty()) {
    Frame& frame = stack.back();
    ZefaJson* child = nullptr;
    dom::element source;
    if (auto* object = frame.target->get_ptr<ZefaJsonObject*>()) {
      if (!(frame.member != frame.members)) {
        stack.pop_back();
        continue;
      }
      const std::string_view key = frame.member.key();
      source = frame.member.value();
      ++frame.member;
      child = &made(source, [object, key](auto&& from) -> ZefaJson& {
        const auto placed = object->try_emplace_view(key, from);
        if (!placed.second) placed.first->second = ZefaJson(from);
        return placed.first->second;
      });
    } else {
      if (!(frame.element != frame.elements)) {
        stack.pop_back();
        continue;
      }
      source = *frame.element;
      ++frame.element;
      auto* array = frame.target->get_ptr<ZefaJsonArray*>();
      child =
          &made(source, [array](auto&& from) -> ZefaJson& { return array->emplace_back(from); });
    }
    open(*child, source);  // `frame` may dangle from here on
  }
}

// Parses with simdjson, which checks the syntax, the UTF-8 of the whole text, NUL bytes (not
// JSON outside texts, unescaped control characters inside them) and the nesting limit in one
// pass. None when simdjson refuses the text: the caller then runs nlohmann's parser, which gives
// the fault's description (or the value, for the few texts simdjson refuses and nlohmann reads,
// such as integers past 64 bits, which nlohmann makes floats).
std::optional<ZefaJson> parseFast(std::string_view text) {
  // One parser and one padded buffer per thread serve every text up to kSharedText without
  // allocating (fresh buffers for each text cost more than the parse: the pages are faulted in
  // anew). The parser keeps about 14 bytes per byte of the largest text it has read, so a larger
  // text gets a reader of its own. That one is kept for the next large text (a run of them, such
  // as pages of a catalogue, then pays for its memory once) and freed by the next small text, so
  // a thread keeps about 3.5 MB between bursts.
  constexpr size_t kSharedText = 256 * 1024;
  struct Reader {
    dom::parser parser;
    std::vector<char> buffer;
    std::vector<Frame> stack;  // build()'s, kept to spare an allocation per text
  };
  thread_local Reader shared;
  thread_local std::unique_ptr<Reader> large;
  if (text.size() <= kSharedText) {
    large.reset();
  } else if (!large) {
    large = std::make_unique<Reader>();
  }
  Reader& reader = text.size() <= kSharedText ? shared : *large;
  if (reader.parser.max_depth() != ZefaJsonText::kMaxDepth &&
      reader.parser.allocate(std::max(text.size(), size_t{4096}), ZefaJsonText::kMaxDepth) !=
          simdjson::SUCCESS) {
    return std::nullopt;
  }
  reader.buffer.resize(text.size() + simdjson::SIMDJSON_PADDING);
  if (!text.empty()) std::memcpy(reader.buffer.data(), text.data(), text.size());
  const auto root = reader.parser.parse(reader.buffer.data(), text.size(), false);
  if (root.error() != simdjson::SUCCESS) return std::nullopt;
  std::optional<ZefaJson> value(std::in_place);
  build(root.value_unsafe(), *value, reader.stack);
  return value;
}
#else
// Builds without simdjson (a cross build whose target has no package of it) parse with
// nlohmann's parser alone: the same values and faults, more slowly.
std::optional<ZefaJson> parseFast(std::string_view) { return std::nullopt; }
#endif

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
  if (std::optional<ZefaJson> value = parseFast(text)) return value;
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
  KeptWorkList<std::pair<const ZefaJson*, int>> work;
  work.list().emplace_back(&value, 1);
  return serialisable(work.list());
}

bool ZefaJsonText::isSerialisable(const ZefaJsonObject& object) {
  KeptWorkList<std::pair<const ZefaJson*, int>> work;
  for (const auto& member : object) work.list().emplace_back(&member.second, 2);
  return serialisable(work.list());
}

ZefaJsonObject ZefaJsonText::copy(const ZefaJsonObject& object) {
  ZefaJsonObject result;
  // Containers are made empty first and filled when their turn comes; a container's children
  // are all in place before pointers to them are taken, so none moves afterwards.
  KeptWorkList<std::pair<const ZefaJson*, ZefaJson*>> work;
  std::vector<std::pair<const ZefaJson*, ZefaJson*>>& pending = work.list();
  const auto shallow = [](const ZefaJson& from) {
    if (from.is_object()) return ZefaJson(ZefaJson::value_t::object);
    if (from.is_array()) return ZefaJson(ZefaJson::value_t::array);
    return from;
  };
  result.reserve(object.size());
  for (const auto& member : object) result.emplace(member.first, shallow(member.second));
  auto copied = result.begin();
  for (const auto& member : object) pending.emplace_back(&member.second, &(copied++)->second);
  while (!pending.empty()) {
    const auto [from, to] = pending.back();
    pending.pop_back();
    if (from->is_object()) {
      auto& target = to->get_ref<ZefaJsonObject&>();
      const auto& source = from->get_ref<const ZefaJsonObject&>();
      target.reserve(source.size());
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

void ZefaJsonText::release(ZefaJsonObject& object) {
  // Every container below `object`, parents before their children; emptied in reverse, each is
  // empty of containers by the time its turn comes. The list is kept per thread, so releasing a
  // reply allocates nothing.
  KeptWorkList<ZefaJson*> work;
  std::vector<ZefaJson*>& containers = work.list();
  const auto collect = [&containers](ZefaJson& value) {
    if (value.is_object() || value.is_array()) containers.push_back(&value);
  };
  for (auto& member : object) collect(member.second);
  for (size_t i = 0; i < containers.size(); ++i) {
    if (containers[i]->is_object()) {
      for (auto& member : containers[i]->get_ref<ZefaJsonObject&>()) collect(member.second);
    } else {
      for (auto& element : containers[i]->get_ref<ZefaJsonArray&>()) collect(element);
    }
  }
  for (auto it = containers.rbegin(); it != containers.rend(); ++it) {
    if ((*it)->is_object()) {
      (*it)->get_ref<ZefaJsonObject&>().clear();
    } else {
      (*it)->get_ref<ZefaJsonArray&>().clear();
    }
  }
  object.clear();
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

namespace {

// Appends `text` as a JSON string, escaped as nlohmann's serializer escapes it (the short forms
// for quote, backslash and the five named controls, \u00xx for the other controls, everything
// else as it stands) plus "/" as "\/". False when `text` is not UTF-8.
bool appendString(std::string& out, std::string_view text) {
  out.push_back('"');
  size_t plain = 0;  // start of the bytes not yet copied
  for (size_t i = 0; i < text.size();) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c >= 0x80) {
      const std::optional<ZefaUtf8::CodePoint> point = ZefaUtf8::decode(text, i);
      if (!point) return false;
      i += point->length;
      continue;
    }
    if (c >= 0x20 && c != '"' && c != '\\' && c != '/') {
      ++i;
      continue;
    }
    out.append(text.data() + plain, i - plain);
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '/':
        out += "\\/";
        break;
      case '\b':
        out += "\\b";
        break;
      case '\f':
        out += "\\f";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default: {
        constexpr char kHex[] = "0123456789abcdef";
        const char escaped[] = {'\\', 'u', '0', '0', kHex[c >> 4], kHex[c & 0xF]};
        out.append(escaped, sizeof escaped);
      }
    }
    plain = ++i;
  }
  out.append(text.data() + plain, text.size() - plain);
  out.push_back('"');
  return true;
}

// Appends a scalar the way nlohmann's serializer writes it. False for what is left to that
// serializer: numbers that are not finite, binary and discarded values.
bool appendScalar(std::string& out, const ZefaJson& value) {
  char digits[64];
  switch (value.type()) {
    case ZefaJson::value_t::null:
      out += "null";
      return true;
    case ZefaJson::value_t::boolean:
      out += value.get<bool>() ? "true" : "false";
      return true;
    case ZefaJson::value_t::number_integer: {
      const auto end = std::to_chars(digits, digits + sizeof digits, value.get<int64_t>()).ptr;
      out.append(digits, static_cast<size_t>(end - digits));
      return true;
    }
    case ZefaJson::value_t::number_unsigned: {
      const auto end = std::to_chars(digits, digits + sizeof digits, value.get<uint64_t>()).ptr;
      out.append(digits, static_cast<size_t>(end - digits));
      return true;
    }
    case ZefaJson::value_t::number_float: {
      const double number = value.get<double>();
      if (!std::isfinite(number)) return false;
      const char* end = nlohmann::detail::to_chars(digits, digits + sizeof digits, number);
      out.append(digits, static_cast<size_t>(end - digits));
      return true;
    }
    case ZefaJson::value_t::string:
      return appendString(out, value.get_ref<const std::string&>());
    default:
      return false;
  }
}

// Writes compactly, without recursion: each level is an object or an array and the position of
// its next member. Returns false, leaving `out` part-written, for anything appendScalar refuses;
// the caller then writes the value with nlohmann's serializer, which reports the fault.
bool writeFast(std::string& out, const ZefaJsonObject* rootObject, const ZefaJson* rootValue) {
  struct Level {
    const ZefaJsonObject* object;
    const ZefaJsonArray* array;
    size_t next;
  };
  KeptWorkList<Level> work;  // gives back what a deep value needed, however the writing ends
  std::vector<Level>& stack = work.list();
  // Opens a container (pushing its level) or writes a scalar.
  const auto open = [&out, &stack](const ZefaJson& value) {
    if (value.is_object()) {
      out.push_back('{');
      stack.push_back({&value.get_ref<const ZefaJsonObject&>(), nullptr, 0});
      return true;
    }
    if (value.is_array()) {
      out.push_back('[');
      stack.push_back({nullptr, &value.get_ref<const ZefaJsonArray&>(), 0});
      return true;
    }
    return appendScalar(out, value);
  };
  if (rootObject) {
    out.push_back('{');
    stack.push_back({rootObject, nullptr, 0});
  } else if (!open(*rootValue)) {
    return false;
  }
  while (!stack.empty()) {
    Level& level = stack.back();
    const size_t size = level.object ? level.object->size() : level.array->size();
    if (level.next == size) {
      out.push_back(level.object ? '}' : ']');
      stack.pop_back();
      continue;
    }
    if (level.next > 0) out.push_back(',');
    const size_t at = level.next++;
    if (level.object) {
      const auto& member = *(level.object->begin() + static_cast<std::ptrdiff_t>(at));
      if (!appendString(out, member.first)) return false;
      out.push_back(':');
      if (!open(member.second)) return false;  // `level` may dangle from here on
    } else if (!open((*level.array)[at])) {
      return false;
    }
  }
  return true;
}

// Room reserved for a written text: request bodies and records mostly fit, so the text is
// allocated once instead of growing step by step.
constexpr std::string::size_type kWriteReserve = 256;

// Writes with writeFast when it can; otherwise runs `serialise` (which appends the compact text
// as nlohmann's serializer writes it), reports its fault if it has one, and writes every "/" as
// "\/". Compact output has no "/" outside strings, so escaping every one escapes those in strings.
template <class Serialise>
std::optional<std::string> writeWith(const ZefaJsonObject* object, const ZefaJson* value,
                                     Serialise serialise, std::string* error,
                                     ZefaJsonText::WriteFault* fault) {
  using Fault = ZefaJsonText::WriteFault;
  if (fault) *fault = Fault::None;
  std::string text;
  text.reserve(kWriteReserve);
  if (writeFast(text, object, value)) return text;
  text.clear();
  try {
    serialise(text);
  } catch (const ZefaJson::type_error& e) {
    // 316: a text holds bytes that are not UTF-8.
    if (fault) *fault = e.id == 316 ? Fault::NotUtf8 : Fault::Serialiser;
    setError(error, e.what());
    return std::nullopt;
  } catch (const std::exception& e) {
    if (fault) *fault = Fault::Serialiser;
    setError(error, e.what());
    return std::nullopt;
  }
  if (text.find('/') == std::string::npos) return text;
  const auto slashes =
      static_cast<std::string::size_type>(std::count(text.begin(), text.end(), '/'));
  std::string escaped;
  escaped.reserve(text.size() + slashes);
  for (const char c : text) {
    if (c == '/') escaped.push_back('\\');
    escaped.push_back(c);
  }
  return escaped;
}

using Serializer = nlohmann::detail::serializer<ZefaJson>;

Serializer serializerInto(std::string& text) {
  return Serializer(nlohmann::detail::output_adapter<char, std::string>(text), ' ',
                    nlohmann::detail::error_handler_t::strict);
}

}  // namespace

std::optional<std::string> ZefaJsonText::write(const ZefaJson& value, std::string* error,
                                               WriteFault* fault) {
  return writeWith(
      nullptr, &value,
      [&value](std::string& text) { serializerInto(text).dump(value, false, false, 0); }, error,
      fault);
}

std::optional<std::string> ZefaJsonText::write(const ZefaJsonObject& object, std::string* error,
                                               WriteFault* fault) {
  // The same text as writing the object as a value, without copying it into one. The serializer
  // appends straight to `text` (it buffers nothing between calls), so the punctuation written
  // here lands in order.
  return writeWith(
      &object, nullptr,
      [&object](std::string& text) {
        Serializer serializer = serializerInto(text);
        ZefaJson key = std::string();  // one text value, re-filled for each member's name
        text.push_back('{');
        bool first = true;
        for (const auto& [name, value] : object) {
          if (!first) text.push_back(',');
          first = false;
          key.get_ref<std::string&>() = name;
          serializer.dump(key, false, false, 0);
          text.push_back(':');
          serializer.dump(value, false, false, 0);
        }
        text.push_back('}');
      },
      error, fault);
}
