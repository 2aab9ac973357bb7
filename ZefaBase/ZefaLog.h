#pragma once
// The library's log: one formatted line per call on standard output,
//   [2024-03-01 21:05:09 +0000][E][ZefaSDKUtils][keyChainId()](72):Zefa[Swift]-> message
// `i` writes only after setShowLog(true), `d` never writes, `w` and `e` always write. The clock
// part is local wall-clock time (the UTC offset is read once, at the first line).
//
// Callers get their own file, function and line by default. A message may be any value with a
// text form, or a callable returning one: it is called only when the line will be written.
#include <atomic>
#include <concepts>
#include <cstdint>
#include <functional>
#include <memory>
#include <source_location>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>

#include "ZefaBase/ZefaDescription.h"
#include "ZefaBase/ZefaExport.h"

#if defined(__cpp_lib_source_location)
using ZefaSourceLocation = std::source_location;
#else
// Compilers whose standard library lacks std::source_location (clang 14 with libstdc++ 12)
// still give the caller's file, function and line through their builtins.
struct ZEFA_EXPORT ZefaSourceLocation {
  static constexpr ZefaSourceLocation current(const char* file = __builtin_FILE(),
                                              const char* function = __builtin_FUNCTION(),
                                              unsigned line = __builtin_LINE()) noexcept {
    return ZefaSourceLocation{file, function, line};
  }
  constexpr const char* file_name() const noexcept { return file_; }
  constexpr const char* function_name() const noexcept { return function_; }
  constexpr unsigned line() const noexcept { return line_; }
  const char* file_;
  const char* function_;
  unsigned line_;
};
#endif

enum class ZefaLogLevel { Info = 0, Debug = 1, Warn = 2, Error = 3 };

// Where a log line comes from: the source file (its last path component is shown), the
// function text ("newUrl(_:_:_:)") and the line.
struct ZEFA_EXPORT ZefaLogSite {
  std::string_view fileFullPath;
  std::string_view function;
  int64_t line = 0;

  // A function's text as log lines show it: "void Game::start(int, char*)" is "start(_:_:)".
  static std::string functionText(std::string_view prettyFunction);
};

// Receives every written line, terminator included, instead of standard output.
using ZefaLogSink = std::function<void(ZefaLogLevel level, std::string_view line)>;

class ZEFA_EXPORT ZefaLog {
 public:
  ZefaLog() = default;

  static void setShowLog(bool show) { showLog_.store(show, std::memory_order_relaxed); }
  static bool isShowLog() { return showLog_.load(std::memory_order_relaxed); }

  // Sends lines to `sink` instead of standard output; an empty sink restores standard output.
  // Set it at start-up, before other threads log.
  static void setSink(ZefaLogSink sink);

  template <class M>
  static void i(const M& message, const ZefaLogSite& site, std::string_view separator = " ",
                std::string_view terminator = "\n") {
    if (isShowLog()) print(message, site, separator, terminator, ZefaLogLevel::Info);
  }
  template <class M>
  static void i(const M& message, ZefaSourceLocation location = ZefaSourceLocation::current()) {
    if (isShowLog()) printAt(message, location, ZefaLogLevel::Info);
  }

  // Debug lines are never written; the message is not even formatted.
  template <class M>
  static void d(const M&, const ZefaLogSite&, std::string_view = " ", std::string_view = "\n") {}
  template <class M>
  static void d(const M&, ZefaSourceLocation = ZefaSourceLocation::current()) {}

  template <class M>
  static void w(const M& message, const ZefaLogSite& site, std::string_view separator = " ",
                std::string_view terminator = "\n") {
    print(message, site, separator, terminator, ZefaLogLevel::Warn);
  }
  template <class M>
  static void w(const M& message, ZefaSourceLocation location = ZefaSourceLocation::current()) {
    printAt(message, location, ZefaLogLevel::Warn);
  }

  template <class M>
  static void e(const M& message, const ZefaLogSite& site, std::string_view separator = " ",
                std::string_view terminator = "\n") {
    print(message, site, separator, terminator, ZefaLogLevel::Error);
  }
  template <class M>
  static void e(const M& message, ZefaSourceLocation location = ZefaSourceLocation::current()) {
    printAt(message, location, ZefaLogLevel::Error);
  }

  // Writes the line whatever the level; the separator is never written (one item per line).
  template <class M>
  static void print(const M& message, const ZefaLogSite& site, std::string_view separator,
                    std::string_view terminator, ZefaLogLevel level) {
    (void)separator;
    write(level, site, textOf(message), terminator);
  }

  // The text form of a log message.
  template <class M>
  static std::string textOf(const M& message) {
    if constexpr (std::is_invocable_v<const M&>) {
      return textOf(message());
    } else if constexpr (std::is_same_v<M, bool>) {
      return message ? "true" : "false";
    } else if constexpr (std::is_convertible_v<const M&, std::string_view>) {
      return std::string(std::string_view(message));
    } else if constexpr (std::is_same_v<M, char>) {
      return std::string(1, message);  // a character, not its code
    } else if constexpr (std::is_integral_v<M>) {
      return std::to_string(message);
    } else if constexpr (std::is_same_v<M, float>) {
      return ZefaDescription::number(message);  // the float's own shortest form
    } else if constexpr (std::is_floating_point_v<M>) {
      return ZefaDescription::number(static_cast<double>(message));
    } else if constexpr (std::is_same_v<M, ZefaJson> || std::is_same_v<M, ZefaJsonObject>) {
      return ZefaDescription::describe(message);
    } else if constexpr (requires { message.toString(); }) {
      return message.toString();
    } else if constexpr (requires { message->toString(); }) {
      return message ? message->toString() : std::string("nil");
    } else {
      std::ostringstream out;
      out << message;
      return out.str();
    }
  }

 private:
  template <class M>
  static void printAt(const M& message, const ZefaSourceLocation& location, ZefaLogLevel level) {
    const std::string function = ZefaLogSite::functionText(location.function_name());
    const ZefaLogSite site{location.file_name(), function, static_cast<int64_t>(location.line())};
    print(message, site, " ", "\n", level);
  }
  static void write(ZefaLogLevel level, const ZefaLogSite& site, std::string_view message,
                    std::string_view terminator);
  static inline std::atomic<bool> showLog_{false};
};
