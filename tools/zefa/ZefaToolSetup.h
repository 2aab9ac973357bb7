#pragma once
// What every command of the zefa tool shares: the bundle and data directories a command runs
// with (--bundle, --data), the library's log sent to standard error so that standard output
// holds only results, pumping the main run loop with a limit, and the usage-error report.
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "ZefaBase/ZefaJson.h"
#include "ZefaBase/ZefaServerCall.h"
#include "tools/common/ZefaCommandLine.h"

// What one backend call reported: its "data", or its status; neither while none arrived.
struct ZefaToolOutcome {
  bool done = false;
  std::optional<ZefaJsonObject> data;
  ZefaStatusCodeRef status;
};

class ZefaToolSetup {
 public:
  // The options every command takes besides its own.
  static constexpr ZefaCommandLine::Option kBundleOption{"bundle", true};
  static constexpr ZefaCommandLine::Option kDataOption{"data", true};

  // The bundle directory: --bundle, else the demo bundle of the source tree when it exists,
  // else the library's default (the executable's directory). The data directory: --data, else
  // the library's default for the bundle's identifier.
  static void applyPaths(const ZefaCommandLine& line);
  // The library's log lines go to standard error; informational ones only when `show`.
  static void logToStandardError(bool show);
  // Drains the main run loop until `done()` or `seconds` have passed; the last value of done().
  static bool pump(const std::function<bool()>& done, double seconds);
  // Starts a call with `start`, handing it the two callbacks, and drains the main run loop until
  // its outcome arrives or `seconds` have passed.
  using Start = std::function<void(ZefaSuccessCallback, ZefaFailedCallback)>;
  static ZefaToolOutcome await(const Start& start, double seconds);

  // Reports a usage error of `command` with its help text; returns the usage exit code.
  static int usage(std::string_view command, std::string_view help, std::string_view message);
  // Prints `help` on standard output; returns the success exit code.
  static int help(std::string_view help);
  // JSON text for people: compact, "/" unescaped, bytes that are not UTF-8 replaced.
  static std::string text(const ZefaJson& value);
};
