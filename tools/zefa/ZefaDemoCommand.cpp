#include "tools/zefa/ZefaDemoCommand.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "ZefaBase/ZefaConstants.h"
#include "ZefaBase/ZefaDescription.h"
#include "ZefaBase/ZefaLog.h"
#include "ZefaBase/ZefaSDKLifecycleService.h"
#include "ZefaBase/ZefaServerCall.h"
#include "ZefaBase/ZefaServerCallRetry.h"
#include "ZefaBase/ZefaThirdUploadLoggerService.h"
#include "ZefaBase/ZefaUserDefaults.h"
#include "ZefaBase/entity/ZefaStaticInfo.h"
#include "platform/linux/ZefaLinuxPaths.h"
#include "tools/backend/ZefaDevBackend.h"
#include "tools/zefa/ZefaToolSetup.h"

namespace {

constexpr const char* kHelp = R"(usage: zefa demo [--quiet]

Walks the library's road against a development backend started in this process, one
section per step: static info, login, storing the login record, a call with the disk
token, a backend failure code, a call object retrying through a scripted failure, a
purchase, and the two hubs fanning events out to listeners. The data directory is a fresh
temporary one, removed at the end. Exits 0 when every step behaved as expected.

options:
  --quiet   leave out the library's and the backend's log lines
)";

// The longest a single step may wait for its outcome (the retry step waits 3 s by design).
constexpr double kStepSeconds = 15;

using Outcome = ZefaToolOutcome;

// Starts a call and drains the main run loop until its outcome arrives.
Outcome await(const ZefaToolSetup::Start& start) {
  return ZefaToolSetup::await(start, kStepSeconds);
}

Outcome post(bool diskToken, std::string_view path, ZefaJsonObject params) {
  return await([&](ZefaSuccessCallback success, ZefaFailedCallback failed) {
    ZefaServerCall::postJsonAsync(diskToken, path, params, success, failed);
  });
}

std::string shown(const Outcome& outcome) {
  if (outcome.data) return "data " + ZefaToolSetup::text(*outcome.data);
  if (outcome.status) return "failed with " + outcome.status->toString();
  return "no outcome within the time limit";
}

std::string textOf(const Outcome& outcome, const char* key) {
  if (!outcome.data) return "";
  const auto found = outcome.data->find(key);
  return found != outcome.data->end() && found->second.is_string()
             ? found->second.get<std::string>()
             : "";
}

// A deep-link router and an attribution tracker, both on the lifecycle hub.
class DeepLinkRouter : public ZefaSDKLifecycleProtocol {
 public:
  using ZefaSDKLifecycleProtocol::application;
  bool application(ZefaApplication*, const std::string& url, const ZefaOpenURLOptions&) override {
    const bool mine = url.rfind("mygame://", 0) == 0;
    std::printf("  deep-link router: %s %s\n", url.c_str(), mine ? "routed" : "not mine");
    return mine;
  }
};

class AttributionTracker : public ZefaSDKLifecycleProtocol {
 public:
  using ZefaSDKLifecycleProtocol::application;
  bool application(ZefaApplication*, const std::string& url, const ZefaOpenURLOptions&) override {
    std::printf("  attribution tracker: noted %s\n", url.c_str());
    return true;
  }
};

// An analytics adapter that records the purchases it was told about.
class PurchaseAdapter : public ZefaThirdUploadLoggerProtocol {
 public:
  explicit PurchaseAdapter(std::string name) : name_(std::move(name)) {}
  void purchase(double amount, const std::string& sku, const std::string& currency) override {
    std::printf("  %s: purchase of %s for %.2f %s\n", name_.c_str(), sku.c_str(), amount,
                currency.c_str());
    ++purchases;
  }
  int purchases = 0;

 private:
  std::string name_;
};

// The walk: numbered sections and a count of the steps that did not go as expected.
class Demo {
 public:
  explicit Demo(bool quiet) : quiet_(quiet) {}
  int run();

 private:
  void section(const std::string& title) {
    std::printf("\n== %d. %s\n", ++section_, title.c_str());
    std::fflush(stdout);
  }
  // Prints the outcome of a step; counts it as wrong when it is not what the step expects.
  void expect(bool good, const std::string& what) {
    std::printf("  %s %s\n", good ? "->" : "!! unexpected:", what.c_str());
    std::fflush(stdout);
    if (!good) ++wrong_;
  }
  void staticInfo();
  bool startBackend();
  void login();
  void storeLoginRecord();
  void retryThroughFailure();
  void purchase();
  void hubs();

  bool quiet_;
  int section_ = 0;
  int wrong_ = 0;
  std::string deviceId_;
  std::unique_ptr<ZefaDevBackend> backend_;
  Outcome login_;
};

void Demo::staticInfo() {
  section("This machine's static info (bundle " + ZefaLinuxPaths::bundleDirectory() + ")");
  const ZefaStaticInfo info("MyGame");
  std::printf("  %s\n", ZefaSDKUtils::modelToJsonString(info).value_or("?").c_str());
  // Without a machine id there is no vendor id, so no keychain id: the demo makes one up.
  deviceId_ = info.deviceid.value_or("DEMO-DEVICE-0001");
  expect(info.platform == "ios" && info.sessionId.has_value(),
         "the device id header will carry " + deviceId_);
}

bool Demo::startBackend() {
  section("A development backend in this process (state in memory)");
  ZefaDevBackend::Options options;
  options.log = [quiet = quiet_](const std::string& line) {
    if (!quiet) std::printf("  backend| %s\n", line.c_str());
  };
  backend_ = std::make_unique<ZefaDevBackend>(std::move(options));
  if (!backend_->start()) {
    expect(false, backend_->error());
    return false;
  }
  const std::string host = "127.0.0.1:" + std::to_string(backend_->port());
  ZefaServerCall::setHostAndDeviceId(backend_->url(), host, deviceId_);
  expect(true, "ZefaServerCall::setHostAndDeviceId(\"" + backend_->url() + "\", \"" + host +
                   "\", \"" + deviceId_ + "\")");
  return true;
}

void Demo::login() {
  section("Login as a guest (no token yet)");
  login_ = post(false, ZefaLoginPath::LOGIN_PATH, {{"loginType", "guest"}});
  expect(login_.data && !textOf(login_, "sessionToken").empty(), shown(login_));
}

void Demo::storeLoginRecord() {
  section("Storing the login record, as the login module does");
  ZefaJsonObject record{
      {"sessionToken", textOf(login_, "sessionToken")},
      {"gameAccountId", login_.data ? login_.data->at("gameAccountId") : ZefaJson(0)}};
  ZefaUserDefaults::standard().setValue(ZefaToolSetup::text(record),
                                        ZefaConstants::ZEFA_LOGIN_TOKEN);
  const std::optional<std::string> token = ZefaServerCall::getSessionTokenFormDisk();
  const std::optional<int64_t> account = ZefaServerCall::getGameAccountIdFormDisk();
  expect(token == textOf(login_, "sessionToken") && account.has_value(),
         "getSessionTokenFormDisk() = " + ZefaDescription::optional(token) +
             ", getGameAccountIdFormDisk() = " + ZefaDescription::optional(account));

  section("A call with the token from the login record");
  const Outcome info = post(true, ZefaLoginPath::INFO_PATH, {});
  expect(info.data.has_value(), shown(info));

  section("A backend failure code: a session token the backend never issued");
  const Outcome refused = await([](ZefaSuccessCallback success, ZefaFailedCallback failed) {
    ZefaServerCall::postJsonAsyncWithToken(false, ZefaLoginPath::AUTH_PATH, {},
                                           std::string("not-a-token"), success, failed);
  });
  expect(refused.status && refused.status->code == 401, shown(refused));
}

void Demo::retryThroughFailure() {
  section("A call object with 2 retries; the shop answers 503 once, then recovers");
  backend_->faults().script(
      {std::string(ZefaPurchasePath::SHOPITEMS_PATH), 503, "shop under maintenance", 1});
  const auto started = std::chrono::steady_clock::now();
  std::shared_ptr<ZefaServerCallRetry> call;
  const Outcome items = await([&](ZefaSuccessCallback success, ZefaFailedCallback failed) {
    // The description and URL the library's entry points would give this call.
    const std::string path(ZefaPurchasePath::SHOPITEMS_PATH);
    call = std::make_shared<ZefaServerCallRetry>(" " + ZefaServerCall::HOST + " " + path + " [:] ",
                                                 ZefaServerCall::HOST + path, ZefaJsonObject{}, 2,
                                                 success, failed);
    call->call();
  });
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  char timing[96];
  std::snprintf(timing, sizeof timing, " after %.1f s, retries left: %lld", seconds,
                static_cast<long long>(call->retryTime.value_or(-1)));
  expect(items.data && call->retryTime == 1, shown(items) + timing);
}

void Demo::purchase() {
  section("A purchase: payment parameters, receipt check, unconsumed orders, consume");
  const Outcome order =
      post(true, ZefaPurchasePath::PAYMENTPARAMS_PATH, {{"sku", "gem_pack_small"}});
  const std::string orderId = textOf(order, "orderId");
  expect(!orderId.empty(), shown(order));
  const Outcome paid = post(true, ZefaPurchasePath::APPLE_CHECK_PATH,
                            {{"orderId", orderId}, {"receipt", "dev-receipt"}});
  expect(textOf(paid, "state") == "paid", shown(paid));
  const Outcome open = post(true, ZefaPurchasePath::GET_UNCONSUME_PATH, {});
  expect(open.data && open.data->at("orders").size() == 1, shown(open));
  const Outcome consumed = post(true, ZefaPurchasePath::CONSUME_ITEM_PATH, {{"orderId", orderId}});
  expect(textOf(consumed, "state") == "consumed", shown(consumed));
}

void Demo::hubs() {
  section("The lifecycle hub fans an open-URL callback out to two listeners");
  auto& lifecycle = ZefaSDKLifecycleService::sharedInstance();
  lifecycle.lifecycles.push_back(std::make_shared<DeepLinkRouter>());
  lifecycle.lifecycles.push_back(std::make_shared<AttributionTracker>());
  const bool handled = lifecycle.application(nullptr, "mygame://reward?id=7", {});
  const bool foreign = lifecycle.application(nullptr, "https://example.com/", {});
  expect(handled && !foreign, std::string("the hub answers ") + (handled ? "true" : "false") +
                                  " for mygame://, " + (foreign ? "true" : "false") +
                                  " for https:// (the AND of both listeners)");

  section("The analytics hub fans a purchase event out to two adapters");
  auto& loggers = ZefaThirdUploadLoggerService::sharedInstance();
  auto first = std::make_shared<PurchaseAdapter>("adapter A");
  auto second = std::make_shared<PurchaseAdapter>("adapter B");
  loggers.loggers = {first, second};
  loggers.purchase(0.99, "gem_pack_small", "USD");
  expect(first->purchases == 1 && second->purchases == 1, "each adapter saw the purchase once");
}

int Demo::run() {
  ZefaLog::setShowLog(!quiet_);
  ZefaLog::setSink([quiet = quiet_](ZefaLogLevel, std::string_view line) {
    if (!quiet) std::printf("  log| %.*s", static_cast<int>(line.size()), line.data());
  });
  const auto started = std::chrono::steady_clock::now();
  staticInfo();
  if (startBackend()) {
    login();
    storeLoginRecord();
    retryThroughFailure();
    purchase();
  }
  hubs();
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  std::printf("\n== %s (%.1f s)\n",
              wrong_ == 0
                  ? "Every step behaved as expected"
                  : (std::to_string(wrong_) + " step(s) did not behave as expected").c_str(),
              seconds);
  if (backend_) backend_->stop();
  return wrong_ == 0 ? ZefaCommandLine::kSuccess : ZefaCommandLine::kFailure;
}

}  // namespace

int ZefaDemoCommand::run(const std::vector<std::string>& arguments) {
  const ZefaCommandLine line(arguments, {ZefaToolSetup::kBundleOption, {"quiet", false}});
  if (line.wantsHelp()) return ZefaToolSetup::help(kHelp);
  if (!line.ok()) return ZefaToolSetup::usage("demo", kHelp, line.error());
  if (!line.positionals().empty()) {
    return ZefaToolSetup::usage("demo", kHelp, "unexpected argument " + line.positionals()[0]);
  }
  // A fresh data directory: no login record or keychain entry left by an earlier run.
  std::string directory = (std::filesystem::temp_directory_path() / "zefa-demo-XXXXXX").string();
  if (::mkdtemp(directory.data()) == nullptr) {
    std::perror("zefa demo: cannot make a temporary directory");
    return ZefaCommandLine::kFailure;
  }
  ZefaToolSetup::applyPaths(line);
  ZefaLinuxPaths::setDataDirectory(directory);
  std::printf("zefa demo: data directory %s (removed at the end)\n", directory.c_str());
  const int result = Demo(line.has("quiet")).run();
  std::error_code ignored;
  std::filesystem::remove_all(directory, ignored);
  return result;
}
