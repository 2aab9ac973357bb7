// ZefaThirdUploadLoggerService in the C interface, and the adapter that makes a C table a
// ZefaThirdUploadLoggerProtocol adapter.
#include <algorithm>

#include "ZefaBase/ZefaThirdUploadLoggerService.h"
#include "ZefaBase/capi/zefa_support.h"

struct zefa_ZefaThirdUploadLoggerService final : zefa::capi::Handle {
  zefa_ZefaThirdUploadLoggerService() : Handle(zefa::capi::Kind::LoggerService) {}
  ZefaThirdUploadLoggerService* hub = nullptr;
  std::unique_ptr<ZefaThirdUploadLoggerService> owned;  // empty for the shared hub
};

using zefa::capi::guard;

namespace {

class CLoggerAdapter final : public ZefaThirdUploadLoggerProtocol {
 public:
  CLoggerAdapter(const zefa_ZefaThirdUploadLoggerProtocol& table, void* userData)
      : table_(table), userData_(userData) {}
  ~CLoggerAdapter() override {
    if (table_.dispose != nullptr) table_.dispose(userData_);
  }
  CLoggerAdapter(const CLoggerAdapter&) = delete;
  CLoggerAdapter& operator=(const CLoggerAdapter&) = delete;

  void gameStart() override {
    if (table_.gameStart != nullptr) table_.gameStart(userData_);
  }
  void registerEvent() override {
    if (table_.registerEvent != nullptr) table_.registerEvent(userData_);
  }
  void login() override {
    if (table_.login != nullptr) table_.login(userData_);
  }
  void level(int64_t level) override {
    if (table_.level_ != nullptr) table_.level_(level, userData_);
  }
  void addToCart(double amount, const std::string& first, const std::string& second) override {
    amountEvent(table_.addToCart___, amount, first, second);
  }
  void initCheckout(double amount, const std::string& first, const std::string& second) override {
    amountEvent(table_.initCheckout___, amount, first, second);
  }
  void purchase(double amount, const std::string& first, const std::string& second) override {
    amountEvent(table_.purchase___, amount, first, second);
  }
  void subscription(double amount, const std::string& first, const std::string& second) override {
    amountEvent(table_.subscription___, amount, first, second);
  }
  void adShow(const std::string& first, const std::string& second, const std::string& third,
              const std::string& fourth, const std::string& fifth, double amount) override {
    if (table_.adShow______ == nullptr) return;
    table_.adShow______(first.c_str(), second.c_str(), third.c_str(), fourth.c_str(), fifth.c_str(),
                        amount, userData_);
  }
  void log(const std::string& name, const ZefaJsonObject& params) override {
    if (table_.log__ == nullptr) return;
    const std::optional<std::string> json = zefa::capi::jsonText(params);
    table_.log__(name.c_str(), zefa::capi::cText(json), userData_);
  }

 private:
  using AmountCall = void (*)(double, const char*, const char*, void*);
  void amountEvent(AmountCall call, double amount, const std::string& first,
                   const std::string& second) {
    if (call != nullptr) call(amount, first.c_str(), second.c_str(), userData_);
  }

  const zefa_ZefaThirdUploadLoggerProtocol table_;
  void* const userData_;
};

// Runs an event on the hub behind `handle`; a NULL handle is a no-op.
template <class Event>
void send(zefa_ZefaThirdUploadLoggerService* handle, const Event& event) {
  if (handle == nullptr) return;
  guard([&] { event(*handle->hub); });
}

bool allTexts(std::initializer_list<const char*> texts) {
  return std::none_of(texts.begin(), texts.end(), [](const char* text) { return text == nullptr; });
}

}  // namespace

extern "C" {

zefa_ZefaThirdUploadLoggerService* zefa_ZefaThirdUploadLoggerService_sharedInstance(void) {
  return guard<zefa_ZefaThirdUploadLoggerService*>(nullptr, [] {
    static zefa_ZefaThirdUploadLoggerService* const handle = [] {
      auto* shared = new zefa_ZefaThirdUploadLoggerService;
      shared->shared = true;
      shared->hub = &ZefaThirdUploadLoggerService::sharedInstance();
      return shared;
    }();
    return handle;
  });
}

zefa_ZefaThirdUploadLoggerService* zefa_ZefaThirdUploadLoggerService_init(void) {
  return guard<zefa_ZefaThirdUploadLoggerService*>(nullptr, [] {
    auto handle = std::make_unique<zefa_ZefaThirdUploadLoggerService>();
    handle->owned = std::make_unique<ZefaThirdUploadLoggerService>();
    handle->hub = handle->owned.get();
    return handle.release();
  });
}

void zefa_ZefaThirdUploadLoggerService_gameStart(zefa_ZefaThirdUploadLoggerService* hub) {
  send(hub, [](ZefaThirdUploadLoggerService& h) { h.gameStart(); });
}

void zefa_ZefaThirdUploadLoggerService_registerEvent(zefa_ZefaThirdUploadLoggerService* hub) {
  send(hub, [](ZefaThirdUploadLoggerService& h) { h.registerEvent(); });
}

void zefa_ZefaThirdUploadLoggerService_login(zefa_ZefaThirdUploadLoggerService* hub) {
  send(hub, [](ZefaThirdUploadLoggerService& h) { h.login(); });
}

void zefa_ZefaThirdUploadLoggerService_level_(zefa_ZefaThirdUploadLoggerService* hub,
                                              int64_t level) {
  send(hub, [level](ZefaThirdUploadLoggerService& h) { h.level(level); });
}

void zefa_ZefaThirdUploadLoggerService_addToCart___(zefa_ZefaThirdUploadLoggerService* hub,
                                                    double amount, const char* first,
                                                    const char* second) {
  if (!allTexts({first, second})) return;
  send(hub, [&](ZefaThirdUploadLoggerService& h) { h.addToCart(amount, first, second); });
}

void zefa_ZefaThirdUploadLoggerService_initCheckout___(zefa_ZefaThirdUploadLoggerService* hub,
                                                       double amount, const char* first,
                                                       const char* second) {
  if (!allTexts({first, second})) return;
  send(hub, [&](ZefaThirdUploadLoggerService& h) { h.initCheckout(amount, first, second); });
}

void zefa_ZefaThirdUploadLoggerService_purchase___(zefa_ZefaThirdUploadLoggerService* hub,
                                                   double amount, const char* first,
                                                   const char* second) {
  if (!allTexts({first, second})) return;
  send(hub, [&](ZefaThirdUploadLoggerService& h) { h.purchase(amount, first, second); });
}

void zefa_ZefaThirdUploadLoggerService_subscription___(zefa_ZefaThirdUploadLoggerService* hub,
                                                       double amount, const char* first,
                                                       const char* second) {
  if (!allTexts({first, second})) return;
  send(hub, [&](ZefaThirdUploadLoggerService& h) { h.subscription(amount, first, second); });
}

void zefa_ZefaThirdUploadLoggerService_adShow______(zefa_ZefaThirdUploadLoggerService* hub,
                                                    const char* first, const char* second,
                                                    const char* third, const char* fourth,
                                                    const char* fifth, double amount) {
  if (!allTexts({first, second, third, fourth, fifth})) return;
  send(hub, [&](ZefaThirdUploadLoggerService& h) {
    h.adShow(first, second, third, fourth, fifth, amount);
  });
}

zefa_listener* zefa_logger_listener_add(zefa_ZefaThirdUploadLoggerService* hub,
                                        const zefa_ZefaThirdUploadLoggerProtocol* table,
                                        void* user_data) {
  if (hub == nullptr || table == nullptr) return nullptr;
  return guard<zefa_listener*>(nullptr, [&] {
    auto listener = std::make_unique<zefa_listener>();
    listener->logger = std::make_shared<CLoggerAdapter>(*table, user_data);
    hub->hub->loggers.push_back(listener->logger);
    return listener.release();
  });
}

int zefa_logger_listener_remove(zefa_ZefaThirdUploadLoggerService* hub,
                                const zefa_listener* listener) {
  if (hub == nullptr || listener == nullptr || !listener->logger) return false;
  return guard(false, [&] { return zefa::capi::removeFrom(hub->hub->loggers, listener->logger); });
}

}  // extern "C"
