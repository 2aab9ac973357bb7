#include "ZefaBase/ZefaSDKLifecycleService.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

namespace {

using Journal = std::vector<std::string>;

// What a test listener implements: an answer per application method (none: not implemented)
// and whether it implements the scene method.
struct Implements {
  std::optional<bool> options = std::nullopt;
  std::optional<bool> source = std::nullopt;
  bool scene = false;
};

// Writes every call it receives into a shared journal as "<name>.<method>" and keeps the
// arguments of the last one.
class RecordingListener : public ZefaSDKLifecycleProtocol {
 public:
  RecordingListener(std::string name, Implements implements, Journal& journal)
      : name_(std::move(name)), implements_(implements), journal_(journal) {}
  using ZefaSDKLifecycleProtocol::application;

  bool application(ZefaApplication* app, const std::string& url,
                   const ZefaOpenURLOptions& options) override {
    if (!implements_.options) return ZefaSDKLifecycleProtocol::application(app, url, options);
    record("options", app, url);
    lastOptions = options;
    return *implements_.options;
  }
  bool application(ZefaApplication* app, const std::string& url,
                   const std::optional<std::string>& source, const std::any& annotation) override {
    if (!implements_.source) {
      return ZefaSDKLifecycleProtocol::application(app, url, source, annotation);
    }
    record("source", app, url);
    lastSource = source;
    lastAnnotation = annotation;
    return *implements_.source;
  }
  void scene(ZefaScene* scene, const std::set<ZefaOpenURLContext*>& contexts) override {
    if (!implements_.scene) return;
    record("scene", nullptr, "");
    lastScene = scene;
    lastContexts = contexts;
  }

  std::function<void()> onCall;  // a change the listener makes while it is called
  ZefaApplication* lastApplication = nullptr;
  std::string lastUrl;
  ZefaOpenURLOptions lastOptions;
  std::optional<std::string> lastSource = "unset";
  std::any lastAnnotation;
  ZefaScene* lastScene = nullptr;
  std::set<ZefaOpenURLContext*> lastContexts;

 private:
  void record(const std::string& method, ZefaApplication* app, const std::string& url) {
    journal_.push_back(name_ + "." + method);
    lastApplication = app;
    lastUrl = url;
    if (onCall) onCall();
  }
  std::string name_;
  Implements implements_;
  Journal& journal_;
};

// The platform objects are opaque: only their addresses matter.
template <class T>
T* opaque(uintptr_t address) {
  return reinterpret_cast<T*>(address);
}

TEST(ZefaSDKLifecycleService, ApplicationAnswersTheAndOfImplementingListeners) {
  struct Row {
    std::string name;
    std::vector<Implements> listeners;
    bool expected;
    std::vector<int> called;  // the listeners called, in order
  };
  const std::vector<Row> rows = {
      {"no listeners is handled", {}, true, {}},
      {"a listener implementing nothing is skipped and neutral", {{}}, true, {}},
      {"true false true: all called in order, false",
       {{true, true}, {false, false}, {true, true}},
       false,
       {0, 1, 2}},
      {"a decline first does not stop the others", {{false, false}, {true, true}}, false, {0, 1}},
      {"a scene-only listener does not influence the answer",
       {{{}, {}, true}, {true, true}},
       true,
       {1}},
      {"non-implementers around a decliner", {{}, {false, false}, {}}, false, {1}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Journal journal;
    ZefaSDKLifecycleService hub;
    for (size_t i = 0; i < row.listeners.size(); ++i) {
      hub.lifecycles.push_back(
          std::make_shared<RecordingListener>(std::to_string(i), row.listeners[i], journal));
    }
    Journal expectedOptions, expectedSource;
    for (int i : row.called) {
      expectedOptions.push_back(std::to_string(i) + ".options");
      expectedSource.push_back(std::to_string(i) + ".source");
    }
    EXPECT_EQ(hub.application(nullptr, "game://x", ZefaOpenURLOptions{}), row.expected);
    EXPECT_EQ(journal, expectedOptions);
    journal.clear();
    EXPECT_EQ(hub.application(nullptr, "game://x", std::nullopt, std::any{}), row.expected);
    EXPECT_EQ(journal, expectedSource);
  }
}

TEST(ZefaSDKLifecycleService, ArgumentsReachListenersUnchanged) {
  Journal journal;
  ZefaSDKLifecycleService hub;
  auto listener = std::make_shared<RecordingListener>("a", Implements{true, true, true}, journal);
  hub.lifecycles = {listener, std::make_shared<RecordingListener>("none", Implements{}, journal)};

  int payload = 7;
  const ZefaOpenURLOptions options{{"sourceKey", std::string("com.other")}, {"payload", &payload}};
  hub.application(opaque<ZefaApplication>(0x1000), "game://open?x=1&y=%20", options);
  EXPECT_EQ(listener->lastApplication, opaque<ZefaApplication>(0x1000));
  EXPECT_EQ(listener->lastUrl, "game://open?x=1&y=%20");
  ASSERT_EQ(listener->lastOptions.size(), 2u);
  EXPECT_EQ(std::any_cast<std::string>(listener->lastOptions.at("sourceKey")), "com.other");
  EXPECT_EQ(std::any_cast<int*>(listener->lastOptions.at("payload")), &payload);

  for (const std::optional<std::string>& source :
       {std::optional<std::string>(), std::optional<std::string>(""),
        std::optional<std::string>("com.web")}) {
    SCOPED_TRACE(source.value_or("absent"));
    hub.application(nullptr, "", source, std::any(&payload));
    EXPECT_EQ(listener->lastSource, source);  // absent stays absent, empty stays empty
    EXPECT_EQ(std::any_cast<int*>(listener->lastAnnotation), &payload);
  }

  const std::set<ZefaOpenURLContext*> contexts{opaque<ZefaOpenURLContext>(0x30),
                                               opaque<ZefaOpenURLContext>(0x40)};
  journal.clear();
  hub.scene(opaque<ZefaScene>(0x2000), contexts);
  EXPECT_EQ(journal, Journal{"a.scene"});
  EXPECT_EQ(listener->lastScene, opaque<ZefaScene>(0x2000));
  EXPECT_EQ(listener->lastContexts, contexts);
}

TEST(ZefaSDKLifecycleService, ListChangesDuringAFanOutWaitForTheNextOne) {
  using Change = std::function<void(ZefaSDKLifecycleService&, std::shared_ptr<RecordingListener>&)>;
  struct Row {
    std::string name;
    Change change;
    Journal next;
  };
  const std::vector<Row> rows = {
      {"appending a listener",
       [](auto& hub, auto& added) { hub.lifecycles.push_back(added); },
       {"0.options", "1.options", "2.options", "new.options"}},
      {"removing the caller itself",
       [](auto& hub, auto&) { hub.lifecycles.erase(hub.lifecycles.begin() + 1); },
       {"0.options", "2.options"}},
      {"removing a listener not called yet",
       [](auto& hub, auto&) { hub.lifecycles.pop_back(); },
       {"0.options", "1.options"}},
      {"clearing the list", [](auto& hub, auto&) { hub.lifecycles.clear(); }, {}},
      {"replacing the list",
       [](auto& hub, auto& added) { hub.lifecycles = {added}; },
       {"new.options"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Journal journal;
    ZefaSDKLifecycleService hub;
    auto added = std::make_shared<RecordingListener>("new", Implements{true, true}, journal);
    for (const char* name : {"0", "1", "2"}) {
      hub.lifecycles.push_back(
          std::make_shared<RecordingListener>(name, Implements{true, true}, journal));
    }
    // The middle listener changes the list once; the hub's list may hold its last reference.
    auto* middle = static_cast<RecordingListener*>(hub.lifecycles[1].get());
    middle->onCall = [&, done = false]() mutable {
      if (!std::exchange(done, true)) row.change(hub, added);
    };
    EXPECT_TRUE(hub.application(nullptr, "u", ZefaOpenURLOptions{}));
    EXPECT_EQ(journal, (Journal{"0.options", "1.options", "2.options"}));
    journal.clear();
    hub.application(nullptr, "u", ZefaOpenURLOptions{});
    EXPECT_EQ(journal, row.next);
  }
}

class ThrowingListener : public ZefaSDKLifecycleProtocol {
 public:
  using ZefaSDKLifecycleProtocol::application;
  bool application(ZefaApplication*, const std::string&, const ZefaOpenURLOptions&) override {
    throw std::runtime_error("listener failed");
  }
  void scene(ZefaScene*, const std::set<ZefaOpenURLContext*>&) override {
    throw std::runtime_error("listener failed");
  }
};

TEST(ZefaSDKLifecycleService, AThrowingListenerDeclinesAndTheOthersStillRun) {
  Journal journal;
  ZefaSDKLifecycleService hub;
  hub.lifecycles = {
      std::make_shared<ThrowingListener>(),
      std::make_shared<RecordingListener>("b", Implements{true, true, true}, journal)};
  EXPECT_FALSE(hub.application(nullptr, "u", ZefaOpenURLOptions{}));
  hub.scene(nullptr, {});
  EXPECT_TRUE(hub.application(nullptr, "u", std::nullopt, std::any{}));  // not overridden there
  EXPECT_EQ(journal, (Journal{"b.options", "b.scene", "b.source"}));
}

TEST(ZefaSDKLifecycleService, SharedInstanceIsOneHubAndNewOnesAreIndependent) {
  ZefaSDKLifecycleService& shared = ZefaSDKLifecycleService::sharedInstance();
  EXPECT_EQ(&shared, &ZefaSDKLifecycleService::sharedInstance());
  Journal journal;
  ZefaSDKLifecycleService other;
  other.lifecycles.push_back(std::make_shared<RecordingListener>("o", Implements{false}, journal));
  const size_t before = shared.lifecycles.size();
  EXPECT_FALSE(other.application(nullptr, "u", ZefaOpenURLOptions{}));
  EXPECT_EQ(shared.lifecycles.size(), before);
}

}  // namespace
