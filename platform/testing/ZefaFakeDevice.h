#pragma once
// A device whose every answer a test sets: no vendor identifier, a given proxy dictionary or
// interface list, a machine field with any bytes. Records the order of the calls made to it.
#include <string>
#include <vector>

#include "platform/ZefaDevice.h"

class ZefaFakeDevice final : public ZefaDevice {
 public:
  std::optional<std::string> vendorIdentifier = "6F9619FF-8B86-D011-B42D-00C04FC964FF";
  std::string advertising = "00000000-0000-0000-0000-000000000000";
  std::string deviceName = "Test Phone";
  std::string version = "17.2";
  std::string machineField = std::string("iPhone15,2") + std::string(246, '\0');
  std::optional<ZefaJsonObject> proxy = ZefaJsonObject{{"__SCOPED__", ZefaJsonObject{}}};

  std::optional<std::string> identifierForVendor() override {
    calls.push_back("identifierForVendor");
    return vendorIdentifier;
  }
  std::string advertisingIdentifier() override {
    calls.push_back("advertisingIdentifier");
    return advertising;
  }
  std::string name() override {
    calls.push_back("name");
    return deviceName;
  }
  std::string systemVersion() override {
    calls.push_back("systemVersion");
    return version;
  }
  std::string machine() override {
    calls.push_back("machine");
    return machineField;
  }
  std::optional<ZefaJsonObject> proxySettings() override {
    calls.push_back("proxySettings");
    return proxy;
  }

  // Sets the proxy settings to "__SCOPED__" with one empty entry per interface name.
  void setInterfaces(const std::vector<std::string>& names);

  std::vector<std::string> calls;
};
