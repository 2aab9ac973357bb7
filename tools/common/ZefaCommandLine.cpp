#include "tools/common/ZefaCommandLine.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>

ZefaCommandLine::ZefaCommandLine(const std::vector<std::string>& arguments,
                                 const std::vector<Option>& options) {
  bool optionsEnded = false;
  for (size_t i = 0; i < arguments.size() && error_.empty(); ++i) {
    const std::string& argument = arguments[i];
    if (optionsEnded || argument.size() < 2 || argument[0] != '-' ||
        (argument[1] != '-' && argument != "-h")) {
      positionals_.push_back(argument);
      continue;
    }
    if (argument == "--") {
      optionsEnded = true;
      continue;
    }
    if (argument == "--help" || argument == "-h") {
      help_ = true;
      continue;
    }
    const size_t equals = argument.find('=');
    const std::string name = argument.substr(2, equals == std::string::npos ? equals : equals - 2);
    const auto option = std::find_if(options.begin(), options.end(),
                                     [&](const Option& o) { return o.name == name; });
    if (option == options.end()) {
      error_ = "unknown option --" + name;
    } else if (!option->takesValue) {
      if (equals != std::string::npos) error_ = "--" + name + " takes no value";
      values_[name].push_back("");
    } else if (equals != std::string::npos) {
      values_[name].push_back(argument.substr(equals + 1));
    } else if (i + 1 < arguments.size()) {
      values_[name].push_back(arguments[++i]);
    } else {
      error_ = "--" + name + " needs a value";
    }
    if (error_.empty() && !option->repeatable && values_[name].size() > 1) {
      error_ = "--" + name + " given twice";
    }
  }
}

std::optional<std::string> ZefaCommandLine::value(std::string_view name) const {
  const auto found = values_.find(std::string(name));
  if (found == values_.end() || found->second.empty()) return std::nullopt;
  return found->second.back();
}

std::vector<std::string> ZefaCommandLine::values(std::string_view name) const {
  const auto found = values_.find(std::string(name));
  return found == values_.end() ? std::vector<std::string>{} : found->second;
}

std::optional<int64_t> ZefaCommandLine::integer(std::string_view text) {
  int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<double> ZefaCommandLine::number(std::string_view text) {
  const std::string copy(text);
  char* end = nullptr;
  const double value = std::strtod(copy.c_str(), &end);
  if (copy.empty() || end != copy.c_str() + copy.size() || !std::isfinite(value)) {
    return std::nullopt;
  }
  return value;
}
