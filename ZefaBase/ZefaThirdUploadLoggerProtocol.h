#pragma once
// An analytics adapter registered in ZefaThirdUploadLoggerService: it passes the game's business
// events on to an outside analytics service. Every method is optional; an adapter overrides the
// events its service knows, and the defaults do nothing (the same as not being called).
#include <cstdint>
#include <string>

#include "ZefaBase/ZefaExport.h"
#include "ZefaBase/ZefaJson.h"

class ZEFA_EXPORT ZefaThirdUploadLoggerProtocol {
 public:
  virtual ~ZefaThirdUploadLoggerProtocol() = default;

  virtual void gameStart() {}
  virtual void registerEvent() {}
  virtual void login() {}
  virtual void level(int64_t level) { (void)level; }
  // The four events with an amount and two texts get them in this order.
  virtual void addToCart(double amount, const std::string& first, const std::string& second);
  virtual void initCheckout(double amount, const std::string& first, const std::string& second);
  virtual void purchase(double amount, const std::string& first, const std::string& second);
  virtual void subscription(double amount, const std::string& first, const std::string& second);
  virtual void adShow(const std::string& first, const std::string& second, const std::string& third,
                      const std::string& fourth, const std::string& fifth, double amount);
  // A free-form event. The hub never calls it; it is for calls made to the adapter directly.
  virtual void log(const std::string& name, const ZefaJsonObject& params);

 protected:
  ZefaThirdUploadLoggerProtocol() = default;
  ZefaThirdUploadLoggerProtocol(const ZefaThirdUploadLoggerProtocol&) = default;
  ZefaThirdUploadLoggerProtocol& operator=(const ZefaThirdUploadLoggerProtocol&) = default;
};
