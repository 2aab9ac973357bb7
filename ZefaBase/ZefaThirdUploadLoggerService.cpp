#include "ZefaBase/ZefaThirdUploadLoggerService.h"

ZefaThirdUploadLoggerService& ZefaThirdUploadLoggerService::sharedInstance() {
  // Never destroyed: listeners may still be called while the process exits.
  static ZefaThirdUploadLoggerService* const shared = new ZefaThirdUploadLoggerService();
  return *shared;
}

template <class Call>
void ZefaThirdUploadLoggerService::eachLogger(const Call& call) {
  const std::vector<std::shared_ptr<ZefaThirdUploadLoggerProtocol>> snapshot = loggers;
  for (const auto& logger : snapshot) {
    if (!logger) continue;
    try {
      call(*logger);
    } catch (...) {
      // An adapter's failure stays with that adapter; the others are still called.
    }
  }
}

void ZefaThirdUploadLoggerService::forward(NoArgumentEvent event) {
  eachLogger([event](ZefaThirdUploadLoggerProtocol& logger) { (logger.*event)(); });
}

void ZefaThirdUploadLoggerService::forward(AmountEvent event, double amount,
                                           const std::string& first, const std::string& second) {
  eachLogger(
      [&](ZefaThirdUploadLoggerProtocol& logger) { (logger.*event)(amount, first, second); });
}

void ZefaThirdUploadLoggerService::gameStart() {
  forward(&ZefaThirdUploadLoggerProtocol::gameStart);
}

void ZefaThirdUploadLoggerService::registerEvent() {
  forward(&ZefaThirdUploadLoggerProtocol::registerEvent);
}

void ZefaThirdUploadLoggerService::login() { forward(&ZefaThirdUploadLoggerProtocol::login); }

void ZefaThirdUploadLoggerService::level(int64_t level) {
  eachLogger([level](ZefaThirdUploadLoggerProtocol& logger) { logger.level(level); });
}

void ZefaThirdUploadLoggerService::addToCart(double amount, const std::string& first,
                                             const std::string& second) {
  forward(&ZefaThirdUploadLoggerProtocol::addToCart, amount, first, second);
}

void ZefaThirdUploadLoggerService::initCheckout(double amount, const std::string& first,
                                                const std::string& second) {
  forward(&ZefaThirdUploadLoggerProtocol::initCheckout, amount, first, second);
}

void ZefaThirdUploadLoggerService::purchase(double amount, const std::string& first,
                                            const std::string& second) {
  forward(&ZefaThirdUploadLoggerProtocol::purchase, amount, first, second);
}

void ZefaThirdUploadLoggerService::subscription(double amount, const std::string& first,
                                                const std::string& second) {
  forward(&ZefaThirdUploadLoggerProtocol::subscription, amount, first, second);
}

void ZefaThirdUploadLoggerService::adShow(const std::string& first, const std::string& second,
                                          const std::string& third, const std::string& fourth,
                                          const std::string& fifth, double amount) {
  eachLogger([&](ZefaThirdUploadLoggerProtocol& logger) {
    logger.adShow(first, second, third, fourth, fifth, amount);
  });
}
