#pragma once
// The hub of the game's business events: the game reports each event once and the hub forwards
// it, arguments unchanged and in order, to every registered analytics adapter in list order.
// It keeps no record of events and sends nothing itself; it never calls an adapter's log.
//
// No lock is taken. Each fan-out works on a copy of `loggers` taken when it starts, so an
// adapter may add or remove adapters while it is being called without changing that fan-out.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ZefaBase/ZefaExport.h"
#include "ZefaBase/ZefaThirdUploadLoggerProtocol.h"

class ZEFA_EXPORT ZefaThirdUploadLoggerService {
 public:
  // A hub with no adapters, independent of the shared one.
  ZefaThirdUploadLoggerService() = default;

  // The process-wide hub, made on first use.
  static ZefaThirdUploadLoggerService& sharedInstance();

  // The registered adapters, held strongly, in call order. A module registers by appending.
  std::vector<std::shared_ptr<ZefaThirdUploadLoggerProtocol>> loggers;

  // Each event calls the adapter method of the same name on every adapter; an exception of one
  // adapter is dropped and the others are still called.
  void gameStart();
  void registerEvent();
  void login();
  void level(int64_t level);
  void addToCart(double amount, const std::string& first, const std::string& second);
  void initCheckout(double amount, const std::string& first, const std::string& second);
  void purchase(double amount, const std::string& first, const std::string& second);
  void subscription(double amount, const std::string& first, const std::string& second);
  void adShow(const std::string& first, const std::string& second, const std::string& third,
              const std::string& fourth, const std::string& fifth, double amount);

 private:
  using NoArgumentEvent = void (ZefaThirdUploadLoggerProtocol::*)();
  using AmountEvent = void (ZefaThirdUploadLoggerProtocol::*)(double, const std::string&,
                                                              const std::string&);

  // The shared fan-outs: zero-argument events, and events with an amount and two texts.
  void forward(NoArgumentEvent event);
  void forward(AmountEvent event, double amount, const std::string& first,
               const std::string& second);
  // Calls `call` on each adapter of a snapshot of the list.
  template <class Call>
  void eachLogger(const Call& call);
};
