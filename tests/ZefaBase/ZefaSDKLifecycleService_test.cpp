#include "ZefaBase/ZefaSDKLifecycleService.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

namespace {

using Journal = std::vector<std::string>;

// A listener that implements only the methods it is told to, answers as told, and writes every
// call it receives into a shared journal as "<name>.<method>".
struct Implements {
  std::optional<bool> options;  // answer of application(_:openURL:options:), none: not implemented
  std::optional<bool> annotation;  // answer of the sourceApplication variant
  bool scene = false;
};

class RecordingListener : public ZefaSDKLifecycleProtocol {
 public:
  RecordingListener(std::string name, Implements implements, Journal& journal)
      : name_(std::move(name)), implements_(implements), journal_(journal) {}
  using ZefaSDKLifecycleProtocol::application;

  bool application(ZefaApplication* application, const std::string& url,
                   const ZefaOpenURLOptions& options) override {
    if (!implements_.options)
      return ZefaSDKLifecycleProtocol::application(application, url, options);
    journal_.push_back(name_ + ".options");
    lastApplication = application;
    lastUrl = url;
    lastOptions = options;
    if (onCall) onCall();
    return *implements_.options;
  }
  bool application(ZefaApplication* application, const std::string& url,
                   const std::optional<std::string>& sourceApplication,
                   const std::any& annotation) override {
    if (!implements_.annotation) {
      return ZefaSDKLifecycleProtocol::application(application, url, sourceApplication, annotation);
    }
    journal_.push_back(name_ + ".annotation");
    lastApplication = application;
    lastUrl = url;
    lastSource = sourceApplication;
    lastAnnotation = annotation;
    if (onCall) onCall();
    return *implements_.annotation;
  }
  void scene(ZefaScene* scene, const std::set<ZefaOpenURLContext*>& contexts) override {
    if (!implements_.scene) return;
    journal_.push_back(name_ + ".scene");
    lastScene = scene;
    lastContexts = contexts;
    if (onCall) onCall();
  }

  std::function<void()> onCall;
  ZefaApplication* lastApplication = nullptr;
  std::string lastUrl;
  ZefaOpenURLOptions lastOptions;
  std::optional<std::string> lastSource = "unset";
  std::any lastAnnotation;
  ZefaScene* lastScene = nullptr;
  std::set<ZefaOpenURLContext*> lastContexts;

 private:
  std::string name_;
  Implements implements_;
  Journal& journal_;
};

// Opaque platform objects are only ever compared by address.
ZefaApplication* fakeApplication() { return reinterpret_cast<ZefaApplication*>(0x1000); }
ZefaScene* fakeScene() { return reinterpret_cast<ZefaScene*>(0x2000); }
ZefaOpenURLContext* fakeContext(uintptr_t n) {
  return reinterpret_cast<ZefaOpenURLContext*>(0x3000 + n * 16);
}

struct AndCase {
  std::string name;
  std::vector<Implements> listeners;
  bool expected;
  Journal expectedOptionsCalls;  // for the options variant; the annotation variant mirrors it
};

TEST(ZefaSDKLifecycleService, ApplicationAnswersTheAndOfImplementingListeners) {
  const std::vector<AndCase> cases = {
      {"no listeners is handled", {}, true, {}},
      {"a listener implementing nothing is skipped and neutral", {{}}, true, {}},
      {"true false true calls all three in order and answers false",
       {{true, true}, {false, false}, {true, true}},
       false,
       {"0.options", "1.options", "2.options"}},
      {"a decline first does not stop the others",
       {{false, false}, {true, true}},
       false,
       {"0.options", "1.options"}},
      {"all true answers true", {{true, true}, {true, true}}, true, {"0.options", "1.options"}},
      {"a scene-only listener does not influence the answer",
       {{std::nullopt, std::nullopt, true}, {true, true}},
       true,
       {"1.options"}},
      {"only non-implementers around a decliner", {{}, {false, false}, {}}, false, {"1.options"}},
  };
  for (const AndCase& row : cases) {
    SCOPED_TRACE(row.name);
    Journal journal;
    ZefaSDKLifecycleService hub;
    for (size_t i = 0; i < row.listeners.size(); ++i) {
      hub.lifecycles.push_back(
          std::make_shared<RecordingListener>(std::to_string(i), row.listeners[i], journal));
    }
    EXPECT_EQ(hub.application(fakeApplication(), "game://x", ZefaOpenURLOptions{}), row.expected);
    EXPECT_EQ(journal, row.expectedOptionsCalls);

    journal.clear();
    EXPECT_EQ(hub.application(fakeApplication(), "game://x", std::nullopt, std::any{}),
              row.expected);
    Journal expectedAnnotation;
    for (const std::string& call : row.expectedOptionsCalls) {
      expectedAnnotation.push_back(call.substr(0, call.find('.')) + ".annotation");
    }
    EXPECT_EQ(journal, expectedAnnotation);
  }
}

TEST(ZefaSDKLifecycleService, ApplicationPassesItsArgumentsUnchanged) {
  Journal journal;
  ZefaSDKLifecycleService hub;
  auto listener = std::make_shared<RecordingListener>("a", Implements{true, true}, journal);
  hub.lifecycles.push_back(listener);

  int payload = 7;
  ZefaOpenURLOptions options{
      {"UIApplicationOpenURLOptionsSourceApplicationKey", std::string("com.other")},
      {"payload", &payload}};
  hub.application(fakeApplication(), "game://open?x=1&y=%20", options);
  EXPECT_EQ(listener->lastApplication, fakeApplication());
  EXPECT_EQ(listener->lastUrl, "game://open?x=1&y=%20");
  ASSERT_EQ(listener->lastOptions.size(), 2u);
  EXPECT_EQ(std::any_cast<std::string>(
                listener->lastOptions.at("UIApplicationOpenURLOptionsSourceApplicationKey")),
            "com.other");
  EXPECT_EQ(std::any_cast<int*>(listener->lastOptions.at("payload")), &payload);

  struct SourceCase {
    std::string name;
    std::optional<std::string> source;
  };
  for (const SourceCase& row : std::vector<SourceCase>{{"absent stays absent", std::nullopt},
                                                       {"empty stays empty", ""},
                                                       {"text stays text", "com.web"}}) {
    SCOPED_TRACE(row.name);
    hub.application(nullptr, "", row.source, std::any(&payload));
    EXPECT_EQ(listener->lastApplication, nullptr);
    EXPECT_EQ(listener->lastUrl, "");
    EXPECT_EQ(listener->lastSource, row.source);
    EXPECT_EQ(std::any_cast<int*>(listener->lastAnnotation), &payload);
  }
}

TEST(ZefaSDKLifecycleService, SceneReachesOnlyImplementersInOrder) {
  Journal journal;
  ZefaSDKLifecycleService hub;
  hub.scene(fakeScene(), {});  // no listeners: nothing happens
  auto first = std::make_shared<RecordingListener>(
      "0", Implements{std::nullopt, std::nullopt, true}, journal);
  auto skipped = std::make_shared<RecordingListener>("1", Implements{true, true, false}, journal);
  auto last = std::make_shared<RecordingListener>("2", Implements{std::nullopt, std::nullopt, true},
                                                  journal);
  hub.lifecycles = {first, skipped, last};

  const std::set<ZefaOpenURLContext*> contexts{fakeContext(1), fakeContext(2)};
  hub.scene(fakeScene(), contexts);
  EXPECT_EQ(journal, (Journal{"0.scene", "2.scene"}));
  EXPECT_EQ(last->lastScene, fakeScene());
  EXPECT_EQ(last->lastContexts, contexts);
}

// Changes a listener makes to the list while it is being called.
struct ReentrantCase {
  std::string name;
  std::function<void(ZefaSDKLifecycleService&, std::shared_ptr<RecordingListener>& added)> change;
  Journal secondFanOut;
};

TEST(ZefaSDKLifecycleService, ListChangesDuringAFanOutWaitForTheNextOne) {
  const std::vector<ReentrantCase> cases = {
      {"appending a listener",
       [](ZefaSDKLifecycleService& hub, std::shared_ptr<RecordingListener>& added) {
         hub.lifecycles.push_back(added);
       },
       {"0.options", "1.options", "2.options", "new.options"}},
      {"removing the caller itself",
       [](ZefaSDKLifecycleService& hub, std::shared_ptr<RecordingListener>&) {
         hub.lifecycles.erase(hub.lifecycles.begin() + 1);
       },
       {"0.options", "2.options"}},
      {"removing a listener not yet called",
       [](ZefaSDKLifecycleService& hub, std::shared_ptr<RecordingListener>&) {
         hub.lifecycles.pop_back();
       },
       {"0.options", "1.options"}},
      {"clearing the list",
       [](ZefaSDKLifecycleService& hub, std::shared_ptr<RecordingListener>&) {
         hub.lifecycles.clear();
       },
       {}},
      {"replacing the list",
       [](ZefaSDKLifecycleService& hub, std::shared_ptr<RecordingListener>& added) {
         hub.lifecycles = {added};
       },
       {"new.options"}},
  };
  for (const ReentrantCase& row : cases) {
    SCOPED_TRACE(row.name);
    Journal journal;
    ZefaSDKLifecycleService hub;
    auto added = std::make_shared<RecordingListener>("new", Implements{true, true}, journal);
    for (const char* name : {"0", "1", "2"}) {
      hub.lifecycles.push_back(
          std::make_shared<RecordingListener>(name, Implements{true, true}, journal));
    }
    // The middle listener changes the list once, then holds no reference to itself.
    auto* middle = static_cast<RecordingListener*>(hub.lifecycles[1].get());
    bool changed = false;
    middle->onCall = [&] {
      if (changed) return;
      changed = true;
      row.change(hub, added);
    };
    EXPECT_TRUE(hub.application(fakeApplication(), "u", ZefaOpenURLOptions{}));
    EXPECT_EQ(journal, (Journal{"0.options", "1.options", "2.options"}));

    journal.clear();
    hub.application(fakeApplication(), "u", ZefaOpenURLOptions{});
    EXPECT_EQ(journal, row.secondFanOut);
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
  hub.lifecycles.push_back(std::make_shared<ThrowingListener>());
  hub.lifecycles.push_back(
      std::make_shared<RecordingListener>("after", Implements{true, true, true}, journal));
  EXPECT_FALSE(hub.application(fakeApplication(), "u", ZefaOpenURLOptions{}));
  hub.scene(fakeScene(), {});
  // Its other application method is not overridden: neutral.
  EXPECT_TRUE(hub.application(fakeApplication(), "u", std::nullopt, std::any{}));
  EXPECT_EQ(journal, (Journal{"after.options", "after.scene", "after.annotation"}));
}

TEST(ZefaSDKLifecycleService, SharedInstanceIsOneHubAndOthersAreIndependent) {
  ZefaSDKLifecycleService& shared = ZefaSDKLifecycleService::sharedInstance();
  EXPECT_EQ(&shared, &ZefaSDKLifecycleService::sharedInstance());

  Journal journal;
  ZefaSDKLifecycleService other;
  other.lifecycles.push_back(
      std::make_shared<RecordingListener>("other", Implements{false, false}, journal));
  const size_t before = shared.lifecycles.size();
  EXPECT_FALSE(other.application(nullptr, "u", ZefaOpenURLOptions{}));
  EXPECT_EQ(shared.lifecycles.size(), before);
  EXPECT_EQ(journal, Journal{"other.options"});
}

}  // namespace
