#pragma once
// What the machine says about itself: identifiers, names, the hardware model and the network's
// proxy configuration.
#include <optional>
#include <string>

#include "ZefaBase/ZefaExport.h"
#include "ZefaBase/ZefaJson.h"

class ZEFA_EXPORT ZefaDevice {
 public:
  virtual ~ZefaDevice() = default;
  // The vendor identifier as upper-case UUID text; none when the platform gives none.
  virtual std::optional<std::string> identifierForVendor() = 0;
  // The advertising identifier as upper-case UUID text (all zeros when there is none).
  virtual std::string advertisingIdentifier() = 0;
  // The user-visible device name.
  virtual std::string name() = 0;
  // The operating system's version text.
  virtual std::string systemVersion() = 0;
  // The raw bytes of uname's machine field, all of them, zero bytes included.
  virtual std::string machine() = 0;
  // The system proxy settings: "HTTPProxy" when an HTTP proxy is set, and "__SCOPED__", an
  // object keyed by network-interface name. None when the settings cannot be read.
  virtual std::optional<ZefaJsonObject> proxySettings() = 0;
};
