#include "ZefaBase/ZefaURL.h"

#include <string_view>

// A recogniser for RFC 3986's URI-reference, written out because it must answer the same on
// every platform and some have no URI library. Every character class below is the grammar's own;
// the fuzzers compare the answers with liburiparser's.
namespace {

bool isAlpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isHex(char c) { return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }
bool isUnreserved(char c) {
  return isAlpha(c) || isDigit(c) || c == '-' || c == '.' || c == '_' || c == '~';
}
bool isSubDelim(char c) {
  return std::string_view("!$&'()*+,;=").find(c) != std::string_view::npos;
}

// True when every character of `text` is unreserved, a sub-delimiter, one of `extra`, or part of
// a percent-encoded octet.
bool allOf(std::string_view text, std::string_view extra) {
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '%') {
      if (i + 2 >= text.size() || !isHex(text[i + 1]) || !isHex(text[i + 2])) return false;
      i += 2;
    } else if (!isUnreserved(c) && !isSubDelim(c) && extra.find(c) == std::string_view::npos) {
      return false;
    }
  }
  return true;
}

bool isIpv4(std::string_view text) {
  int parts = 0;
  while (true) {
    size_t digits = 0;
    while (digits < text.size() && isDigit(text[digits])) ++digits;
    // dec-octet: 0-255 without leading zeros.
    if (digits == 0 || digits > 3 || (digits > 1 && text[0] == '0')) return false;
    if (digits == 3 && std::string_view(text.data(), 3) > "255") return false;
    text.remove_prefix(digits);
    if (++parts == 4) return text.empty();
    if (text.empty() || text.front() != '.') return false;
    text.remove_prefix(1);
  }
}

bool isIpv6(std::string_view text) {
  int groups = 0;
  bool elided = false;
  if (text.substr(0, 2) == "::") {
    elided = true;
    text.remove_prefix(2);
    if (text.empty()) return true;
  } else if (!text.empty() && text.front() == ':') {
    return false;
  }
  while (true) {
    size_t hex = 0;
    while (hex < text.size() && isHex(text[hex])) ++hex;
    if (hex < text.size() && text[hex] == '.') {  // a trailing IPv4 address: two groups
      if (!isIpv4(text)) return false;
      groups += 2;
      break;
    }
    if (hex == 0 || hex > 4) return false;
    ++groups;
    text.remove_prefix(hex);
    if (text.empty()) break;
    if (text.front() != ':') return false;
    text.remove_prefix(1);
    if (!text.empty() && text.front() == ':') {
      if (elided) return false;
      elided = true;
      text.remove_prefix(1);
      if (text.empty()) break;
    } else if (text.empty()) {
      return false;  // a single trailing colon
    }
  }
  return elided ? groups <= 7 : groups == 8;
}

bool isIpvFuture(std::string_view text) {
  if (text.size() < 4 || (text[0] != 'v' && text[0] != 'V')) return false;
  size_t hex = 1;
  while (hex < text.size() && isHex(text[hex])) ++hex;
  if (hex == 1 || hex >= text.size() || text[hex] != '.') return false;
  const std::string_view rest = text.substr(hex + 1);
  if (rest.empty()) return false;
  for (const char c : rest) {
    if (!isUnreserved(c) && !isSubDelim(c) && c != ':') return false;
  }
  return true;
}

bool isAuthority(std::string_view authority) {
  if (const size_t at = authority.find('@'); at != std::string_view::npos) {
    if (!allOf(authority.substr(0, at), ":")) return false;
    authority.remove_prefix(at + 1);
  }
  std::string_view port;
  if (!authority.empty() && authority.front() == '[') {
    const size_t close = authority.find(']');
    if (close == std::string_view::npos) return false;
    const std::string_view literal = authority.substr(1, close - 1);
    if (!isIpv6(literal) && !isIpvFuture(literal)) return false;
    const std::string_view after = authority.substr(close + 1);
    if (!after.empty() && after.front() != ':') return false;
    port = after.empty() ? after : after.substr(1);
  } else {
    const size_t colon = authority.find(':');
    if (!allOf(authority.substr(0, colon), "")) return false;
    if (colon != std::string_view::npos) port = authority.substr(colon + 1);
  }
  for (const char c : port) {
    if (!isDigit(c)) return false;
  }
  return true;
}

// The length of the scheme and its ":" at the start of `text`, or 0 when there is none.
size_t schemeLength(std::string_view text) {
  if (text.empty() || !isAlpha(text.front())) return 0;
  for (size_t i = 1; i < text.size(); ++i) {
    const char c = text[i];
    if (c == ':') return i + 1;
    if (!isAlpha(c) && !isDigit(c) && c != '+' && c != '-' && c != '.') return 0;
  }
  return 0;
}

bool isUriReference(std::string_view text) {
  const size_t scheme = schemeLength(text);
  text.remove_prefix(scheme);
  // The query and the fragment may hold "/" and "?" beside the path's characters.
  const size_t hash = text.find('#');
  if (hash != std::string_view::npos) {
    if (!allOf(text.substr(hash + 1), ":@/?")) return false;
    text = text.substr(0, hash);
  }
  const size_t question = text.find('?');
  if (question != std::string_view::npos) {
    if (!allOf(text.substr(question + 1), ":@/?")) return false;
    text = text.substr(0, question);
  }
  if (text.substr(0, 2) == "//") {
    text.remove_prefix(2);
    const size_t slash = text.find('/');
    if (!isAuthority(text.substr(0, slash))) return false;
    text = slash == std::string_view::npos ? std::string_view() : text.substr(slash);
  } else if (scheme == 0) {
    // Without a scheme, a colon in the first segment would read as one: it is not a reference.
    if (text.substr(0, text.find('/')).find(':') != std::string_view::npos) return false;
  }
  return allOf(text, ":@/");
}

}  // namespace

std::optional<ZefaURL> ZefaURL::fromString(std::string text) {
  if (text.empty() || !isUriReference(text)) return std::nullopt;
  return ZefaURL(std::move(text));
}
