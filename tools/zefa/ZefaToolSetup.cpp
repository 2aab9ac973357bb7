#include "tools/zefa/ZefaToolSetup.h"

#include <sys/stat.h>

#include <cstdio>
#include <memory>

#include "ZefaBase/ZefaLog.h"
#include "platform/linux/ZefaLinuxPaths.h"
#include "platform/linux/ZefaRunLoop.h"

void ZefaToolSetup::applyPaths(const ZefaCommandLine& line) {
  if (const auto bundle = line.value(kBundleOption.name)) {
    ZefaLinuxPaths::setBundleDirectory(*bundle);
  } else {
    struct stat info {};
    if (::stat(ZEFA_DEMO_BUNDLE_DIR, &info) == 0 && S_ISDIR(info.st_mode)) {
      ZefaLinuxPaths::setBundleDirectory(ZEFA_DEMO_BUNDLE_DIR);
    }
  }
  if (const auto data = line.value(kDataOption.name)) ZefaLinuxPaths::setDataDirectory(*data);
}

void ZefaToolSetup::logToStandardError(bool show) {
  ZefaLog::setShowLog(show);
  ZefaLog::setSink([](ZefaLogLevel, std::string_view line) {
    std::fwrite(line.data(), 1, line.size(), stderr);
  });
}

ZefaToolOutcome ZefaToolSetup::await(const Start& start, double seconds) {
  auto outcome = std::make_shared<ZefaToolOutcome>();
  start([outcome](const ZefaJsonObject& data) { outcome->done = true, outcome->data = data; },
        [outcome](const ZefaStatusCodeRef& status) {
          outcome->done = true, outcome->status = status;
        });
  pump([&] { return outcome->done; }, seconds);
  return *outcome;
}

bool ZefaToolSetup::pump(const std::function<bool()>& done, double seconds) {
  return ZefaRunLoop::main().run(done, seconds);
}

int ZefaToolSetup::usage(std::string_view command, std::string_view help,
                         std::string_view message) {
  std::fprintf(stderr, "zefa %.*s: %.*s\n\n%.*s", static_cast<int>(command.size()), command.data(),
               static_cast<int>(message.size()), message.data(), static_cast<int>(help.size()),
               help.data());
  return ZefaCommandLine::kUsageError;
}

int ZefaToolSetup::help(std::string_view help) {
  std::fwrite(help.data(), 1, help.size(), stdout);
  return ZefaCommandLine::kSuccess;
}

std::string ZefaToolSetup::text(const ZefaJson& value) {
  return value.dump(-1, ' ', false, ZefaJson::error_handler_t::replace);
}
