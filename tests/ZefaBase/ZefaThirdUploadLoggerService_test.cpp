#include "ZefaBase/ZefaThirdUploadLoggerService.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <stdexcept>

namespace {

using Hub = ZefaThirdUploadLoggerService;
using S = const std::string&;

// An adapter implementing every event: each call appends "<name>.<event>(<arguments>) " to a
// shared journal.
struct Adapter : ZefaThirdUploadLoggerProtocol {
  Adapter(std::string n, std::string& j) : name(std::move(n)), journal(j) {}
  void gameStart() override { record("gameStart"); }
  void registerEvent() override { record("registerEvent"); }
  void login() override { record("login"); }
  void level(int64_t l) override { record("level", l); }
  void addToCart(double n, S a, S b) override { record("addToCart", n, a, b); }
  void initCheckout(double n, S a, S b) override { record("initCheckout", n, a, b); }
  void purchase(double n, S a, S b) override { record("purchase", n, a, b); }
  void subscription(double n, S a, S b) override { record("subscription", n, a, b); }
  void adShow(S a, S b, S c, S d, S e, double n) override { record("adShow", a, b, c, d, e, n); }
  void log(S event, const ZefaJsonObject&) override { record("log", event); }
  template <class... Args>
  void record(const char* event, const Args&... args) {
    std::ostringstream out;
    [[maybe_unused]] const char* separator = "";
    ((out << separator << args, separator = "|"), ...);
    journal += name + "." + event + "(" + out.str() + ") ";
    if (onCall) onCall();
  }
  const std::string name;
  std::string& journal;
  std::function<void()> onCall;  // a change the adapter makes while it is called
};

// An adapter implementing only purchase, which fails there.
struct FailingBuyer : ZefaThirdUploadLoggerProtocol {
  void purchase(double, S, S) override { ++purchases, throw std::runtime_error("adapter failed"); }
  int purchases = 0;
};

TEST(ZefaThirdUploadLoggerService, EveryEventReachesEachImplementingAdapterInOrderUnchanged) {
  const std::pair<std::function<void(Hub&)>, std::string> rows[] = {
      {[](Hub& hub) { hub.gameStart(); }, "gameStart()"},
      {[](Hub& hub) { hub.registerEvent(); }, "registerEvent()"},
      {[](Hub& hub) { hub.login(); }, "login()"},
      {[](Hub& hub) { hub.level(-9000000000LL); }, "level(-9000000000)"},
      {[](Hub& hub) { hub.addToCart(1.5, "sku", "USD"); }, "addToCart(1.5|sku|USD)"},
      {[](Hub& hub) { hub.initCheckout(2.25, "cart", "EUR"); }, "initCheckout(2.25|cart|EUR)"},
      {[](Hub& hub) { hub.purchase(0.99, "gem", "JPY"); }, "purchase(0.99|gem|JPY)"},
      {[](Hub& hub) { hub.subscription(-3, "", "monthly"); }, "subscription(-3||monthly)"},
      {[](Hub& hub) { hub.adShow("net", "unit", "place", "type", "", 0.01); },
       "adShow(net|unit|place|type||0.01)"},
  };
  auto buyer = std::make_shared<FailingBuyer>();
  for (const auto& [send, call] : rows) {
    SCOPED_TRACE(call);
    std::string journal;
    Hub hub, empty;
    hub.loggers = {buyer, nullptr, std::make_shared<Adapter>("a", journal),
                   std::make_shared<Adapter>("b", journal)};
    send(hub);
    EXPECT_EQ(journal, "a." + call + " b." + call + " ");  // in list order, never log(_:_:)
    send(empty);                                           // no adapters: nothing to call
  }
  EXPECT_EQ(buyer->purchases, 1);
}

TEST(ZefaThirdUploadLoggerService, ListChangesDuringAFanOutWaitForTheNextOne) {
  using Added = std::shared_ptr<Adapter>;
  const std::tuple<const char*, std::function<void(Hub&, Added)>, std::string> rows[] = {
      {"appending an adapter", [](Hub& hub, Added n) { hub.loggers.push_back(n); }, "012n"},
      {"removing the caller", [](Hub& hub, Added) { hub.loggers.erase(hub.loggers.begin() + 1); },
       "02"},
      {"replacing the list", [](Hub& hub, Added n) { hub.loggers = {n}; }, "n"},
  };
  for (const auto& [name, change, next] : rows) {
    SCOPED_TRACE(name);
    std::string journal;
    Hub hub;
    for (const char* adapter : {"0", "1", "2"}) {
      hub.loggers.push_back(std::make_shared<Adapter>(adapter, journal));
    }
    // The middle adapter changes the list once; the hub's list may hold its last reference.
    auto added = std::make_shared<Adapter>("n", journal);
    static_cast<Adapter&>(*hub.loggers[1]).onCall = [&, done = false]() mutable {
      if (!std::exchange(done, true)) change(hub, added);
    };
    hub.login();
    EXPECT_EQ(std::exchange(journal, ""), "0.login() 1.login() 2.login() ");
    hub.login();
    std::string expected;
    for (char adapter : next) expected += std::string(1, adapter) + ".login() ";
    EXPECT_EQ(journal, expected);
  }
}

TEST(ZefaThirdUploadLoggerService, SharedInstanceIsOneHubAndNewOnesAreIndependent) {
  Hub& shared = Hub::sharedInstance();
  EXPECT_EQ(&shared, &Hub::sharedInstance());
  Hub().loggers.push_back(nullptr);
  EXPECT_TRUE(shared.loggers.empty());
}

}  // namespace
