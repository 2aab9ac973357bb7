#include "ZefaBase/ZefaSDKLifecycleService.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

namespace {

using Contexts = std::set<ZefaOpenURLContext*>;
using Source = std::optional<std::string>;

// A listener of one kind: 'T' and 'F' answer true and false, 'X' throws (in all three methods),
// 'S' implements only the scene method, '-' implements nothing. Each call appends the listener's
// name to a shared journal and keeps the arguments.
struct Listener : ZefaSDKLifecycleProtocol {
  Listener(char k, char n, std::string& j) : kind(k), name(n), journal(j) {}

  bool application(ZefaApplication* a, const std::string& u, const ZefaOpenURLOptions& o) override {
    if (kind == 'S' || kind == '-') return ZefaSDKLifecycleProtocol::application(a, u, o);
    withOptions = {a, u, o};
    return called();
  }
  bool application(ZefaApplication* a, const std::string& u, const Source& s,
                   const std::any& n) override {
    if (kind == 'S' || kind == '-') return ZefaSDKLifecycleProtocol::application(a, u, s, n);
    withSource = {a, u, s, n};
    return called();
  }
  void scene(ZefaScene* s, const Contexts& c) override {
    if (kind == '-') return ZefaSDKLifecycleProtocol::scene(s, c);
    withScene = {s, c};
    called();
  }
  bool called() {
    journal += name;
    if (onCall) onCall();
    if (kind == 'X') throw std::runtime_error("listener failed");
    return kind == 'T';
  }

  const char kind, name;
  std::string& journal;
  std::function<void()> onCall;  // a change the listener makes while it is called
  std::tuple<ZefaApplication*, std::string, ZefaOpenURLOptions> withOptions;
  std::tuple<ZefaApplication*, std::string, Source, std::any> withSource;
  std::tuple<ZefaScene*, Contexts> withScene;
};

// Fills the hub with one listener per kind, named '0', '1', ...
void fill(ZefaSDKLifecycleService& hub, const std::string& kinds, std::string& journal) {
  for (char kind : kinds) {
    char name = static_cast<char>('0' + hub.lifecycles.size());
    hub.lifecycles.push_back(std::make_shared<Listener>(kind, name, journal));
  }
}

TEST(ZefaSDKLifecycleService, ApplicationAnswersTheAndOfImplementingListenersCallingAllInOrder) {
  // name, listener kinds, answer, listeners called by each application method and by scene
  const std::tuple<const char*, std::string, bool, std::string, std::string> rows[] = {
      {"no listeners: handled, nothing called", "", true, "", ""},
      {"a listener implementing nothing is skipped and neutral", "-", true, "", ""},
      {"true false true: all called in order, false", "TFT", false, "012", "012"},
      {"a scene-only listener does not influence the answer", "ST", true, "1", "01"},
      {"a throwing listener counts as false, the others still run", "XT", false, "01", "01"},
  };
  for (const auto& [name, kinds, handled, called, sceneCalled] : rows) {
    SCOPED_TRACE(name);
    std::string journal;
    ZefaSDKLifecycleService hub;
    fill(hub, kinds, journal);
    EXPECT_EQ(hub.application(nullptr, "game://x", ZefaOpenURLOptions{}), handled);
    EXPECT_EQ(std::exchange(journal, ""), called);
    EXPECT_EQ(hub.application(nullptr, "game://x", std::nullopt, std::any{}), handled);
    EXPECT_EQ(std::exchange(journal, ""), called);
    hub.scene(nullptr, {});
    EXPECT_EQ(journal, sceneCalled);
  }
}

TEST(ZefaSDKLifecycleService, ArgumentsReachListenersUnchanged) {
  std::string journal;
  ZefaSDKLifecycleService hub;
  fill(hub, "T", journal);
  auto& listener = static_cast<Listener&>(*hub.lifecycles[0]);
  int payload = 7;  // the platform objects are opaque to the hub: any address will do
  auto* app = reinterpret_cast<ZefaApplication*>(&payload);
  hub.application(app, "game://open?x=1&y=%20", {{"p", &payload}});
  const auto& [a, url, options] = listener.withOptions;
  EXPECT_EQ(std::tuple(a, url, std::any_cast<int*>(options.at("p"))),
            std::tuple(app, "game://open?x=1&y=%20", &payload));
  for (const Source& source : {Source(), Source(""), Source("com.web")}) {  // absent stays absent
    hub.application(nullptr, "game://b", source, std::any(&payload));
    const auto& [a2, url2, source2, annotation] = listener.withSource;
    EXPECT_EQ(std::tuple(a2, url2, source2, std::any_cast<int*>(annotation)),
              std::tuple(nullptr, "game://b", source, &payload));
  }
  const Contexts contexts{reinterpret_cast<ZefaOpenURLContext*>(&payload), nullptr};
  hub.scene(reinterpret_cast<ZefaScene*>(&journal), contexts);
  EXPECT_EQ(listener.withScene, std::tuple(reinterpret_cast<ZefaScene*>(&journal), contexts));
}

TEST(ZefaSDKLifecycleService, ListChangesDuringAFanOutWaitForTheNextOne) {
  for (bool scene : {false, true}) {
    SCOPED_TRACE(scene ? "during scene" : "during application");
    std::string journal;
    ZefaSDKLifecycleService hub;
    fill(hub, "TTT", journal);
    // The middle listener removes itself, of which the list held the last reference, and appends
    // another listener.
    static_cast<Listener&>(*hub.lifecycles[1]).onCall = [&, done = false]() mutable {
      if (std::exchange(done, true)) return;
      hub.lifecycles.erase(hub.lifecycles.begin() + 1);
      hub.lifecycles.push_back(std::make_shared<Listener>('T', 'n', journal));
    };
    scene ? hub.scene(nullptr, {}) : void(hub.application(nullptr, "u", ZefaOpenURLOptions{}));
    EXPECT_EQ(std::exchange(journal, ""), "012");
    hub.application(nullptr, "u", ZefaOpenURLOptions{});
    EXPECT_EQ(journal, "02n");
  }
}

TEST(ZefaSDKLifecycleService, SharedInstanceIsOneHub) {
  EXPECT_EQ(&ZefaSDKLifecycleService::sharedInstance(), &ZefaSDKLifecycleService::sharedInstance());
}

}  // namespace
