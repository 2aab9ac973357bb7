#include "ZefaBase/ZefaDescription.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>

std::string ZefaDescription::quoted(std::string_view text) {
  std::string out;
  out.reserve(text.size() + 2);
  out.push_back('"');
  for (const char c : text) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
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
      case '\0':
        out += "\\0";
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
          char escape[16];
          std::snprintf(escape, sizeof escape, "\\u{%X}", static_cast<unsigned>(c));
          out += escape;
        } else {
          out.push_back(c);
        }
    }
  }
  out.push_back('"');
  return out;
}

std::string ZefaDescription::optional(const std::optional<std::string>& text) {
  return text ? "Optional(" + quoted(*text) + ")" : "nil";
}

std::string ZefaDescription::optional(const std::optional<int64_t>& number) {
  return number ? "Optional(" + std::to_string(*number) + ")" : "nil";
}

std::string ZefaDescription::optional(const std::optional<ZefaJsonObject>& object) {
  return object ? "Optional(" + describe(*object) + ")" : "nil";
}

namespace {

// Containers nested deeper than this are shown as "[...]": a log line never recurses without
// limit, whatever a caller built in memory.
constexpr int kMaxDescribedDepth = ZefaJsonText::kMaxDepth;

void describeInto(std::string& out, const ZefaJson& value, int depth);

void describeInto(std::string& out, const ZefaJsonObject& object, int depth) {
  if (object.empty()) {
    out += "[:]";
    return;
  }
  if (depth > kMaxDescribedDepth) {
    out += "[...]";
    return;
  }
  out += "[";
  bool first = true;
  for (const auto& [key, value] : object) {
    if (!first) out += ", ";
    first = false;
    out += ZefaDescription::quoted(key);
    out += ": ";
    describeInto(out, value, depth + 1);
  }
  out += "]";
}

void describeInto(std::string& out, const ZefaJson& value, int depth) {
  switch (value.type()) {
    case ZefaJson::value_t::null:
      out += "<null>";
      return;
    case ZefaJson::value_t::boolean:
      out += value.get<bool>() ? "true" : "false";
      return;
    case ZefaJson::value_t::number_integer:
      out += std::to_string(value.get<int64_t>());
      return;
    case ZefaJson::value_t::number_unsigned:
      out += std::to_string(value.get<uint64_t>());
      return;
    case ZefaJson::value_t::number_float:
      out += ZefaDescription::number(value.get<double>());
      return;
    case ZefaJson::value_t::string:
      out += ZefaDescription::quoted(value.get_ref<const std::string&>());
      return;
    case ZefaJson::value_t::object:
      describeInto(out, value.get_ref<const ZefaJsonObject&>(), depth);
      return;
    case ZefaJson::value_t::array: {
      if (depth > kMaxDescribedDepth) {
        out += "[...]";
        return;
      }
      out += "[";
      bool first = true;
      for (const auto& element : value.get_ref<const ZefaJsonArray&>()) {
        if (!first) out += ", ";
        first = false;
        describeInto(out, element, depth + 1);
      }
      out += "]";
      return;
    }
    default:
      out += "<binary>";
  }
}

}  // namespace

std::string ZefaDescription::describe(const ZefaJsonObject& object) {
  std::string out;
  describeInto(out, object, 1);
  return out;
}

std::string ZefaDescription::describe(const ZefaJson& value) {
  std::string out;
  describeInto(out, value, 1);
  return out;
}

std::string ZefaDescription::number(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value < 0 ? "-inf" : "inf";
  if (value == 0) return std::signbit(value) ? "-0.0" : "0.0";
  // Shortest round-trip digits in scientific form: [-]d[.ddd]e[+-]x
  char sci[64];
  const auto result = std::to_chars(sci, sci + sizeof sci, value, std::chars_format::scientific);
  const std::string_view text(sci, static_cast<size_t>(result.ptr - sci));
  const auto e = text.find('e');
  const bool negative = text[0] == '-';
  std::string digits;
  for (const char c : text.substr(negative ? 1 : 0, e - (negative ? 1 : 0))) {
    if (c != '.') digits.push_back(c);
  }
  const int exponent = std::atoi(std::string(text.substr(e + 1)).c_str());
  std::string out = negative ? "-" : "";
  if (exponent < -4 || exponent >= 16) {
    out += digits[0];
    if (digits.size() > 1) out += "." + digits.substr(1);
    char exp[16];
    std::snprintf(exp, sizeof exp, "e%c%02d", exponent < 0 ? '-' : '+', std::abs(exponent));
    return out + exp;
  }
  if (exponent < 0) {
    out += "0." + std::string(static_cast<size_t>(-exponent - 1), '0') + digits;
  } else if (static_cast<size_t>(exponent) + 1 >= digits.size()) {
    out += digits + std::string(static_cast<size_t>(exponent) + 1 - digits.size(), '0') + ".0";
  } else {
    out += digits.substr(0, static_cast<size_t>(exponent) + 1) + "." +
           digits.substr(static_cast<size_t>(exponent) + 1);
  }
  return out;
}

std::string ZefaDescription::number(float value) {
  if (!std::isfinite(value)) return number(static_cast<double>(value));
  // The float's shortest digits read as a double: the shortest text of that double is the same
  // digits, since a double tells apart every decimal of up to 15 significant digits.
  char text[32];
  const auto result = std::to_chars(text, text + sizeof text, value);
  double widened = 0;
  std::from_chars(text, result.ptr, widened);
  return number(widened);
}
