#include "ZefaBase/ZefaThirdUploadLoggerService.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <sstream>
#include <stdexcept>

namespace {

using Journal = std::vector<std::string>;

// An adapter that implements the events named in `implements` (all when empty) and writes each
// call it receives into a shared journal as "<name>.<event>(<arguments>)".
class RecordingAdapter : public ZefaThirdUploadLoggerProtocol {
 public:
  RecordingAdapter(std::string name, Journal& journal, std::set<std::string> implements = {})
      : name_(std::move(name)), journal_(journal), implements_(std::move(implements)) {}

  void gameStart() override { record("gameStart", ""); }
  void registerEvent() override { record("registerEvent", ""); }
  void login() override { record("login", ""); }
  void level(int64_t level) override { record("level", std::to_string(level)); }
  void addToCart(double amount, const std::string& a, const std::string& b) override {
    record("addToCart", join(amount, {a, b}));
  }
  void initCheckout(double amount, const std::string& a, const std::string& b) override {
    record("initCheckout", join(amount, {a, b}));
  }
  void purchase(double amount, const std::string& a, const std::string& b) override {
    record("purchase", join(amount, {a, b}));
  }
  void subscription(double amount, const std::string& a, const std::string& b) override {
    record("subscription", join(amount, {a, b}));
  }
  void adShow(const std::string& a, const std::string& b, const std::string& c,
              const std::string& d, const std::string& e, double amount) override {
    std::ostringstream out;
    out << a << "|" << b << "|" << c << "|" << d << "|" << e << "|" << amount;
    record("adShow", out.str());
  }
  void log(const std::string& name, const ZefaJsonObject&) override { record("log", name); }

  std::function<void()> onCall;

 private:
  static std::string join(double amount, std::initializer_list<std::string> texts) {
    std::ostringstream out;
    out << amount;
    for (const std::string& text : texts) out << "|" << text;
    return out.str();
  }
  void record(const std::string& event, const std::string& arguments) {
    if (!implements_.empty() && !implements_.count(event)) return;
    journal_.push_back(name_ + "." + event + "(" + arguments + ")");
    if (onCall) onCall();
  }

  std::string name_;
  Journal& journal_;
  std::set<std::string> implements_;
};

struct EventCase {
  std::string name;
  std::function<void(ZefaThirdUploadLoggerService&)> send;
  std::string expected;  // the call an adapter receives, without its name
};

const std::vector<EventCase>& everyEvent() {
  static const std::vector<EventCase> cases = {
      {"gameStart", [](auto& hub) { hub.gameStart(); }, "gameStart()"},
      {"registerEvent", [](auto& hub) { hub.registerEvent(); }, "registerEvent()"},
      {"login", [](auto& hub) { hub.login(); }, "login()"},
      {"level", [](auto& hub) { hub.level(-9000000000LL); }, "level(-9000000000)"},
      {"addToCart", [](auto& hub) { hub.addToCart(1.5, "sku", "USD"); }, "addToCart(1.5|sku|USD)"},
      {"initCheckout", [](auto& hub) { hub.initCheckout(2.25, "cart", "EUR"); },
       "initCheckout(2.25|cart|EUR)"},
      {"purchase", [](auto& hub) { hub.purchase(0.99, "gem", "JPY"); }, "purchase(0.99|gem|JPY)"},
      {"subscription", [](auto& hub) { hub.subscription(-3, "", "monthly"); },
       "subscription(-3||monthly)"},
      {"adShow", [](auto& hub) { hub.adShow("net", "unit", "place", "type", "", 0.01); },
       "adShow(net|unit|place|type||0.01)"},
  };
  return cases;
}

TEST(ZefaThirdUploadLoggerService, EveryEventReachesItsMethodWithArgumentsInOrder) {
  for (const EventCase& row : everyEvent()) {
    SCOPED_TRACE(row.name);
    Journal journal;
    ZefaThirdUploadLoggerService hub;
    hub.loggers.push_back(std::make_shared<RecordingAdapter>("a", journal));
    hub.loggers.push_back(std::make_shared<RecordingAdapter>("b", journal));
    row.send(hub);
    // Both adapters, in list order, and never log(_:_:).
    EXPECT_EQ(journal, (Journal{"a." + row.expected, "b." + row.expected}));
  }
}

TEST(ZefaThirdUploadLoggerService, AnAdapterIsCalledOnlyForWhatItImplements) {
  Journal journal;
  ZefaThirdUploadLoggerService hub;
  hub.loggers.push_back(
      std::make_shared<RecordingAdapter>("buyer", journal, std::set<std::string>{"purchase"}));
  hub.loggers.push_back(std::make_shared<RecordingAdapter>(
      "levels", journal, std::set<std::string>{"level", "login"}));
  for (const EventCase& row : everyEvent()) row.send(hub);
  EXPECT_EQ(journal, (Journal{"levels.login()", "levels.level(-9000000000)",
                              "buyer.purchase(0.99|gem|JPY)"}));
}

struct ReentrantCase {
  std::string name;
  std::function<void(ZefaThirdUploadLoggerService&, const std::shared_ptr<RecordingAdapter>&)>
      change;
  Journal secondFanOut;
};

TEST(ZefaThirdUploadLoggerService, ListChangesDuringAFanOutWaitForTheNextOne) {
  const std::vector<ReentrantCase> cases = {
      {"appending an adapter",
       [](auto& hub, const auto& added) { hub.loggers.push_back(added); },
       {"0.login()", "1.login()", "2.login()", "new.login()"}},
      {"removing the caller itself",
       [](auto& hub, const auto&) { hub.loggers.erase(hub.loggers.begin() + 1); },
       {"0.login()", "2.login()"}},
      {"removing an adapter not yet called",
       [](auto& hub, const auto&) { hub.loggers.pop_back(); },
       {"0.login()", "1.login()"}},
      {"clearing the list", [](auto& hub, const auto&) { hub.loggers.clear(); }, {}},
      {"replacing the list",
       [](auto& hub, const auto& added) { hub.loggers = {added}; },
       {"new.login()"}},
  };
  for (const ReentrantCase& row : cases) {
    SCOPED_TRACE(row.name);
    Journal journal;
    ZefaThirdUploadLoggerService hub;
    auto added = std::make_shared<RecordingAdapter>("new", journal);
    for (const char* name : {"0", "1", "2"}) {
      hub.loggers.push_back(std::make_shared<RecordingAdapter>(name, journal));
    }
    auto* middle = static_cast<RecordingAdapter*>(hub.loggers[1].get());
    bool changed = false;
    middle->onCall = [&] {
      if (changed) return;
      changed = true;
      row.change(hub, added);
    };
    hub.login();
    EXPECT_EQ(journal, (Journal{"0.login()", "1.login()", "2.login()"}));
    journal.clear();
    hub.login();
    EXPECT_EQ(journal, row.secondFanOut);
  }
}

class ThrowingAdapter : public ZefaThirdUploadLoggerProtocol {
 public:
  void purchase(double, const std::string&, const std::string&) override {
    throw std::runtime_error("adapter failed");
  }
};

TEST(ZefaThirdUploadLoggerService, AThrowingAdapterDoesNotStopTheOthers) {
  Journal journal;
  ZefaThirdUploadLoggerService hub;
  hub.loggers.push_back(std::make_shared<ThrowingAdapter>());
  hub.loggers.push_back(std::make_shared<RecordingAdapter>("after", journal));
  hub.purchase(1, "a", "b");
  EXPECT_EQ(journal, Journal{"after.purchase(1|a|b)"});
}

TEST(ZefaThirdUploadLoggerService, SharedInstanceIsOneHubAndOthersAreIndependent) {
  ZefaThirdUploadLoggerService& shared = ZefaThirdUploadLoggerService::sharedInstance();
  EXPECT_EQ(&shared, &ZefaThirdUploadLoggerService::sharedInstance());
  Journal journal;
  ZefaThirdUploadLoggerService other;
  other.loggers.push_back(std::make_shared<RecordingAdapter>("other", journal));
  const size_t before = shared.loggers.size();
  other.loggers.push_back(nullptr);  // an empty slot is skipped
  other.gameStart();
  EXPECT_EQ(shared.loggers.size(), before);
  EXPECT_EQ(journal, Journal{"other.gameStart()"});
  ZefaThirdUploadLoggerService empty;
  for (const EventCase& row : everyEvent()) row.send(empty);  // no adapters: nothing happens
}

}  // namespace
