// ZefaSDKLifecycleService in the C interface, and the adapter that makes a C listener table a
// ZefaSDKLifecycleProtocol listener.
#include <algorithm>
#include <vector>

#include "ZefaBase/ZefaSDKLifecycleService.h"
#include "ZefaBase/capi/zefa_support.h"

struct zefa_ZefaSDKLifecycleService final : zefa::capi::Handle {
  zefa_ZefaSDKLifecycleService() : Handle(zefa::capi::Kind::LifecycleService) {}
  ZefaSDKLifecycleService* hub = nullptr;
  std::unique_ptr<ZefaSDKLifecycleService> owned;  // empty for the shared hub
};

using zefa::capi::guard;

namespace {

// Open-URL options as JSON: texts, numbers and booleans as themselves, JSON values as they are.
// Values of other C++ types (set by C++ callers) have no JSON form and are left out. None when
// a text in the options is not UTF-8.
std::optional<std::string> optionsToJson(const ZefaOpenURLOptions& options) {
  ZefaJsonObject object;
  for (const auto& [key, value] : options) {
    if (const auto* text = std::any_cast<std::string>(&value)) {
      object[key] = *text;
    } else if (const auto* chars = std::any_cast<const char*>(&value)) {
      if (*chars != nullptr) object[key] = std::string(*chars);
    } else if (const auto* flag = std::any_cast<bool>(&value)) {
      object[key] = *flag;
    } else if (const auto* integer = std::any_cast<int64_t>(&value)) {
      object[key] = *integer;
    } else if (const auto* small = std::any_cast<int>(&value)) {
      object[key] = *small;
    } else if (const auto* number = std::any_cast<double>(&value)) {
      object[key] = *number;
    } else if (const auto* json = std::any_cast<ZefaJson>(&value)) {
      object[key] = *json;
    }
  }
  return zefa::capi::jsonText(object);
}

// The reverse: scalars become std::string, int64_t, double or bool; arrays, objects and null
// stay ZefaJson values.
ZefaOpenURLOptions optionsFromJson(const ZefaJsonObject& object) {
  ZefaOpenURLOptions options;
  for (const auto& [key, value] : object) {
    if (value.is_string()) {
      options[key] = value.get<std::string>();
    } else if (value.is_boolean()) {
      options[key] = value.get<bool>();
    } else if (value.is_number_integer()) {
      options[key] = value.get<int64_t>();
    } else if (value.is_number()) {
      options[key] = value.get<double>();
    } else {
      options[key] = value;
    }
  }
  return options;
}

class CLifecycleListener final : public ZefaSDKLifecycleProtocol {
 public:
  CLifecycleListener(const zefa_ZefaSDKLifecycleProtocol& table, void* userData)
      : table_(table), userData_(userData) {}
  ~CLifecycleListener() override {
    if (table_.dispose != nullptr) table_.dispose(userData_);
  }
  CLifecycleListener(const CLifecycleListener&) = delete;
  CLifecycleListener& operator=(const CLifecycleListener&) = delete;

  bool application(ZefaApplication* application, const std::string& url,
                   const ZefaOpenURLOptions& options) override {
    if (table_.application_openURL_options_ == nullptr) return true;  // not implemented
    const std::optional<std::string> json = optionsToJson(options);
    return table_.application_openURL_options_(application, url.c_str(), zefa::capi::cText(json),
                                               userData_) != 0;
  }

  bool application(ZefaApplication* application, const std::string& url,
                   const std::optional<std::string>& sourceApplication,
                   const std::any& annotation) override {
    const auto call = table_.application_openURL_sourceApplication_annotation_;
    if (call == nullptr) return true;  // not implemented
    void* const* pointer = std::any_cast<void*>(&annotation);
    return call(application, url.c_str(), sourceApplication ? sourceApplication->c_str() : nullptr,
                pointer != nullptr ? *pointer : nullptr, userData_) != 0;
  }

  void scene(ZefaScene* scene, const std::set<ZefaOpenURLContext*>& urlContexts) override {
    if (table_.scene_openURLContexts_ == nullptr) return;
    const std::vector<ZefaOpenURLContext*> contexts(urlContexts.begin(), urlContexts.end());
    table_.scene_openURLContexts_(scene, contexts.data(), contexts.size(), userData_);
  }

 private:
  const zefa_ZefaSDKLifecycleProtocol table_;
  void* const userData_;
};

}  // namespace

extern "C" {

zefa_ZefaSDKLifecycleService* zefa_ZefaSDKLifecycleService_sharedInstance(void) {
  return guard<zefa_ZefaSDKLifecycleService*>(nullptr, [] {
    static zefa_ZefaSDKLifecycleService* const handle = [] {
      auto* shared = new zefa_ZefaSDKLifecycleService;
      shared->shared = true;
      shared->hub = &ZefaSDKLifecycleService::sharedInstance();
      return shared;
    }();
    return handle;
  });
}

zefa_ZefaSDKLifecycleService* zefa_ZefaSDKLifecycleService_init(void) {
  return guard<zefa_ZefaSDKLifecycleService*>(nullptr, [] {
    auto handle = std::make_unique<zefa_ZefaSDKLifecycleService>();
    handle->owned = std::make_unique<ZefaSDKLifecycleService>();
    handle->hub = handle->owned.get();
    return handle.release();
  });
}

int zefa_ZefaSDKLifecycleService_application_openURL_options_(zefa_ZefaSDKLifecycleService* hub,
                                                              ZefaApplication* application,
                                                              const char* url,
                                                              const char* options_json) {
  if (hub == nullptr || url == nullptr) return false;
  return guard(false, [&] {
    ZefaOpenURLOptions options;
    if (options_json != nullptr) {
      const std::optional<ZefaJsonObject> object = zefa::capi::parseObject(options_json);
      if (!object) return false;
      options = optionsFromJson(*object);
    }
    return hub->hub->application(application, url, options);
  });
}

int zefa_ZefaSDKLifecycleService_application_openURL_sourceApplication_annotation_(
    zefa_ZefaSDKLifecycleService* hub, ZefaApplication* application, const char* url,
    const char* source_application, void* annotation) {
  if (hub == nullptr || url == nullptr) return false;
  return guard(false, [&] {
    const std::any passed = annotation != nullptr ? std::any(annotation) : std::any();
    return hub->hub->application(application, url, zefa::capi::optionalText(source_application),
                                 passed);
  });
}

void zefa_ZefaSDKLifecycleService_scene_openURLContexts_(zefa_ZefaSDKLifecycleService* hub,
                                                         ZefaScene* scene,
                                                         ZefaOpenURLContext* const* url_contexts,
                                                         size_t count) {
  if (hub == nullptr || (url_contexts == nullptr && count > 0)) return;
  guard([&] {
    std::set<ZefaOpenURLContext*> contexts;
    if (count > 0) contexts.insert(url_contexts, url_contexts + count);
    hub->hub->scene(scene, contexts);
  });
}

zefa_listener* zefa_lifecycle_listener_add(zefa_ZefaSDKLifecycleService* hub,
                                           const zefa_ZefaSDKLifecycleProtocol* table,
                                           void* user_data) {
  if (hub == nullptr || table == nullptr) return nullptr;
  return guard<zefa_listener*>(nullptr, [&] {
    auto listener = std::make_unique<zefa_listener>();
    listener->lifecycle = std::make_shared<CLifecycleListener>(*table, user_data);
    hub->hub->lifecycles.push_back(listener->lifecycle);
    return listener.release();
  });
}

int zefa_lifecycle_listener_remove(zefa_ZefaSDKLifecycleService* hub,
                                   const zefa_listener* listener) {
  if (hub == nullptr || listener == nullptr || !listener->lifecycle) return false;
  return guard(false,
               [&] { return zefa::capi::removeFrom(hub->hub->lifecycles, listener->lifecycle); });
}

}  // extern "C"
