#include "ZefaBase/ZefaThirdUploadLoggerService.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <stdexcept>

namespace {

using Hub = ZefaThirdUploadLoggerService;
using S = const std::string&;

// An adapter implementing one event of each form, and log: each call appends
// "<name>.<event>(<arguments>) " to a shared journal.
struct Adapter : ZefaThirdUploadLoggerProtocol {
  Adapter(std::string n, std::string& j) : name(std::move(n)), journal(j) {}
  void gameStart() override { record("gameStart"); }
  void login() override { record("login"); }
  void level(int64_t l) override { record("level", l); }
  void purchase(double n, S a, S b) override { record("purchase", n, a, b); }
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

// One event of each form; every event, end to end, is covered through the C interface.
TEST(ZefaThirdUploadLoggerService, EventsReachEachImplementingAdapterInOrderUnchanged) {
  const std::pair<std::function<void(Hub&)>, std::string> rows[] = {
      {[](Hub& hub) { hub.gameStart(); }, "gameStart()"},
      {[](Hub& hub) { hub.level(-9000000000LL); }, "level(-9000000000)"},
      {[](Hub& hub) { hub.purchase(0.99, "gem", "JPY"); }, "purchase(0.99|gem|JPY)"},
      {[](Hub& hub) { hub.adShow("n", "u", "p", "t", "", 0.01); }, "adShow(n|u|p|t||0.01)"},
  };
  auto buyer = std::make_shared<FailingBuyer>();
  for (const auto& [send, call] : rows) {
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
  std::string journal;
  Hub hub;
  auto adapter = [&](const char* name) { return std::make_shared<Adapter>(name, journal); };
  hub.loggers = {adapter("0"), adapter("1"), adapter("2")};
  // The middle adapter removes itself, of which the list held the last reference, and appends
  // another adapter.
  static_cast<Adapter&>(*hub.loggers[1]).onCall = [&, done = false]() mutable {
    if (std::exchange(done, true)) return;
    hub.loggers.erase(hub.loggers.begin() + 1);
    hub.loggers.push_back(adapter("n"));
  };
  hub.login();
  EXPECT_EQ(std::exchange(journal, ""), "0.login() 1.login() 2.login() ");
  hub.login();
  EXPECT_EQ(journal, "0.login() 2.login() n.login() ");
}

TEST(ZefaThirdUploadLoggerService, SharedInstanceIsOneHub) {
  EXPECT_EQ(&Hub::sharedInstance(), &Hub::sharedInstance());
}

}  // namespace
