#pragma once
// The arguments of one command of the tools: options ("--name value", "--name=value", switches)
// anywhere among the positional arguments, "--" ending the options, and "--help"/"-h" always
// known. Also the tools' exit codes.
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class ZefaCommandLine {
 public:
  // Exit codes of every tool.
  static constexpr int kSuccess = 0;
  static constexpr int kFailure = 1;     // the backend (or the machine) said no
  static constexpr int kUsageError = 2;  // the command line is wrong

  struct Option {
    std::string_view name;  // without the leading "--"
    bool takesValue = false;
    bool repeatable = false;
  };

  ZefaCommandLine(const std::vector<std::string>& arguments, const std::vector<Option>& options);

  // False when an argument is malformed; error() says which.
  bool ok() const { return error_.empty(); }
  const std::string& error() const { return error_; }
  bool wantsHelp() const { return help_; }

  bool has(std::string_view name) const { return values_.count(std::string(name)) > 0; }
  // The option's (last) value.
  std::optional<std::string> value(std::string_view name) const;
  std::vector<std::string> values(std::string_view name) const;
  const std::vector<std::string>& positionals() const { return positionals_; }

  // Whole texts only: "12" is 12, "12x" and "" are none.
  static std::optional<int64_t> integer(std::string_view text);
  static std::optional<double> number(std::string_view text);

 private:
  std::map<std::string, std::vector<std::string>> values_;
  std::vector<std::string> positionals_;
  std::string error_;
  bool help_ = false;
};
