#include "platform/linux/ZefaPropertyList.h"

#include <charconv>
#include <cstdlib>
#include <string>

namespace {

// A recursive-descent reader over the subset of XML that property lists use.
class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}

  std::optional<ZefaJson> document() {
    skipProlog();
    std::string name;
    bool empty = false;
    if (!openTag(name, empty)) return std::nullopt;
    if (name == "plist") {
      if (empty) return std::nullopt;
      skipMisc();
      std::optional<ZefaJson> value = element();
      skipMisc();
      if (!value || !closeTag("plist")) return std::nullopt;
      skipMisc();
      return at_ == text_.size() ? value : std::nullopt;
    }
    // A bare value without the <plist> wrapper.
    std::optional<ZefaJson> value = valueOf(name, empty);
    skipMisc();
    return value && at_ == text_.size() ? value : std::nullopt;
  }

 private:
  static constexpr int kMaxDepth = 256;

  bool startsWith(std::string_view prefix) const {
    return text_.substr(at_, prefix.size()) == prefix;
  }
  void skipSpace() {
    while (at_ < text_.size() &&
           (text_[at_] == ' ' || text_[at_] == '\t' || text_[at_] == '\n' || text_[at_] == '\r')) {
      ++at_;
    }
  }
  bool skipPast(std::string_view end) {
    const size_t found = text_.find(end, at_);
    if (found == std::string_view::npos) return false;
    at_ = found + end.size();
    return true;
  }
  // White space, comments and processing instructions between elements.
  void skipMisc() {
    for (;;) {
      skipSpace();
      if (startsWith("<!--")) {
        if (!skipPast("-->")) return;
      } else if (startsWith("<?")) {
        if (!skipPast("?>")) return;
      } else {
        return;
      }
    }
  }
  void skipProlog() {
    for (;;) {
      skipMisc();
      if (!startsWith("<!DOCTYPE")) return;
      if (!skipPast(">")) return;
    }
  }

  // Reads "<name attr=...>" or "<name/>"; attributes are skipped.
  bool openTag(std::string& name, bool& empty) {
    if (at_ >= text_.size() || text_[at_] != '<') return false;
    const size_t close = text_.find('>', at_);
    if (close == std::string_view::npos) return false;
    std::string_view tag = text_.substr(at_ + 1, close - at_ - 1);
    if (tag.empty() || tag.front() == '/' || tag.front() == '!' || tag.front() == '?') {
      return false;
    }
    empty = tag.back() == '/';
    if (empty) tag.remove_suffix(1);
    const size_t space = tag.find_first_of(" \t\r\n");
    name = std::string(tag.substr(0, space));
    at_ = close + 1;
    return !name.empty();
  }

  bool closeTag(std::string_view name) {
    skipMisc();
    if (!startsWith("</")) return false;
    at_ += 2;
    if (text_.substr(at_, name.size()) != name) return false;
    at_ += name.size();
    skipSpace();
    if (at_ >= text_.size() || text_[at_] != '>') return false;
    ++at_;
    return true;
  }

  // Character data up to the next "<", with entities and CDATA sections resolved.
  std::optional<std::string> characters() {
    std::string out;
    while (at_ < text_.size()) {
      if (startsWith("<![CDATA[")) {
        const size_t end = text_.find("]]>", at_ + 9);
        if (end == std::string_view::npos) return std::nullopt;
        out.append(text_.substr(at_ + 9, end - at_ - 9));
        at_ = end + 3;
        continue;
      }
      if (startsWith("<!--")) {
        if (!skipPast("-->")) return std::nullopt;
        continue;
      }
      const char c = text_[at_];
      if (c == '<') return out;
      if (c != '&') {
        out.push_back(c);
        ++at_;
        continue;
      }
      const size_t semicolon = text_.find(';', at_);
      if (semicolon == std::string_view::npos) return std::nullopt;
      const std::string_view entity = text_.substr(at_ + 1, semicolon - at_ - 1);
      at_ = semicolon + 1;
      if (entity == "amp") {
        out.push_back('&');
      } else if (entity == "lt") {
        out.push_back('<');
      } else if (entity == "gt") {
        out.push_back('>');
      } else if (entity == "quot") {
        out.push_back('"');
      } else if (entity == "apos") {
        out.push_back('\'');
      } else if (entity.size() > 1 && entity.front() == '#') {
        if (!appendCodePoint(entity.substr(1), out)) return std::nullopt;
      } else {
        return std::nullopt;
      }
    }
    return std::nullopt;  // the text ended inside an element
  }

  static bool appendCodePoint(std::string_view digits, std::string& out) {
    int base = 10;
    if (!digits.empty() && (digits.front() == 'x' || digits.front() == 'X')) {
      base = 16;
      digits.remove_prefix(1);
    }
    uint32_t point = 0;
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), point, base);
    if (error != std::errc() || end != digits.data() + digits.size() || point == 0 ||
        point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) {
      return false;
    }
    if (point < 0x80) {
      out.push_back(static_cast<char>(point));
    } else if (point < 0x800) {
      out.push_back(static_cast<char>(0xC0 | (point >> 6)));
      out.push_back(static_cast<char>(0x80 | (point & 0x3F)));
    } else if (point < 0x10000) {
      out.push_back(static_cast<char>(0xE0 | (point >> 12)));
      out.push_back(static_cast<char>(0x80 | ((point >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (point & 0x3F)));
    } else {
      out.push_back(static_cast<char>(0xF0 | (point >> 18)));
      out.push_back(static_cast<char>(0x80 | ((point >> 12) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | ((point >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (point & 0x3F)));
    }
    return true;
  }

  static std::string_view trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) return {};
    const size_t last = text.find_last_not_of(" \t\r\n");
    return text.substr(first, last - first + 1);
  }

  std::optional<ZefaJson> element() {
    std::string name;
    bool empty = false;
    if (!openTag(name, empty) || name == "key") return std::nullopt;
    return valueOf(name, empty);
  }

  std::optional<ZefaJson> valueOf(const std::string& name, bool empty) {
    if (name == "true" || name == "false") {
      if (!empty && !closeTag(name)) return std::nullopt;
      return ZefaJson(name == "true");
    }
    if (name == "dict") return empty ? ZefaJson(ZefaJsonObject()) : dict();
    if (name == "array") return empty ? ZefaJson(ZefaJsonArray()) : array();
    if (name != "string" && name != "integer" && name != "real" && name != "date" &&
        name != "data" && name != "key") {
      return std::nullopt;
    }
    std::string content;
    if (!empty) {
      std::optional<std::string> read = characters();
      if (!read || !closeTag(name)) return std::nullopt;
      content = std::move(*read);
    }
    if (name == "integer") return integer(trimmed(content));
    if (name == "real") return real(trimmed(content));
    if (name == "data") {
      std::string compact;
      for (const char c : content) {
        if (c != ' ' && c != '\t' && c != '\r' && c != '\n') compact.push_back(c);
      }
      return ZefaJson(compact);
    }
    return ZefaJson(content);
  }

  static std::optional<ZefaJson> integer(std::string_view digits) {
    if (!digits.empty() && digits.front() == '+') digits.remove_prefix(1);
    int64_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error == std::errc() && end == digits.data() + digits.size() && !digits.empty()) {
      return ZefaJson(value);
    }
    // Unsigned values beyond the signed range are still integers in a property list.
    uint64_t large = 0;
    const auto [endLarge, errorLarge] =
        std::from_chars(digits.data(), digits.data() + digits.size(), large);
    if (errorLarge == std::errc() && endLarge == digits.data() + digits.size() && !digits.empty()) {
      return ZefaJson(large);
    }
    return std::nullopt;
  }

  static std::optional<ZefaJson> real(std::string_view digits) {
    const std::string text(digits);
    if (text.empty()) return std::nullopt;
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (end != text.c_str() + text.size()) return std::nullopt;
    return ZefaJson(value);
  }

  std::optional<ZefaJson> dict() {
    if (++depth_ > kMaxDepth) return std::nullopt;
    ZefaJsonObject object;
    for (;;) {
      skipMisc();
      if (startsWith("</")) break;
      std::string name;
      bool empty = false;
      if (!openTag(name, empty) || name != "key") return std::nullopt;
      std::optional<ZefaJson> key = valueOf(name, empty);
      if (!key) return std::nullopt;
      skipMisc();
      std::optional<ZefaJson> value = element();
      if (!value) return std::nullopt;
      // A repeated key: the last one wins, as in the platform's reader.
      const std::string keyText = key->get<std::string>();
      object.erase(keyText);
      object.emplace(keyText, std::move(*value));
    }
    --depth_;
    if (!closeTag("dict")) return std::nullopt;
    return ZefaJson(std::move(object));
  }

  std::optional<ZefaJson> array() {
    if (++depth_ > kMaxDepth) return std::nullopt;
    ZefaJsonArray items;
    for (;;) {
      skipMisc();
      if (startsWith("</")) break;
      std::optional<ZefaJson> value = element();
      if (!value) return std::nullopt;
      items.push_back(std::move(*value));
    }
    --depth_;
    if (!closeTag("array")) return std::nullopt;
    return ZefaJson(std::move(items));
  }

  std::string_view text_;
  size_t at_ = 0;
  int depth_ = 0;
};

}  // namespace

std::optional<ZefaJson> ZefaPropertyList::parse(std::string_view text) {
  try {
    return Reader(text).document();
  } catch (const std::exception&) {
    return std::nullopt;  // allocation failures and the like: no dictionary
  }
}
