#include "ZefaBase/ZefaThirdUploadLoggerProtocol.h"

void ZefaThirdUploadLoggerProtocol::addToCart(double, const std::string&, const std::string&) {}
void ZefaThirdUploadLoggerProtocol::initCheckout(double, const std::string&, const std::string&) {}
void ZefaThirdUploadLoggerProtocol::purchase(double, const std::string&, const std::string&) {}
void ZefaThirdUploadLoggerProtocol::subscription(double, const std::string&, const std::string&) {}
void ZefaThirdUploadLoggerProtocol::adShow(const std::string&, const std::string&,
                                           const std::string&, const std::string&,
                                           const std::string&, double) {}
void ZefaThirdUploadLoggerProtocol::log(const std::string&, const ZefaJsonObject&) {}
