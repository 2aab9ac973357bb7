#pragma once
// `zefa info`: this machine's ZefaStaticInfo record and the environment facts behind it (vendor
// and keychain ids, VPN and proxy tests, the bundle's versions), as a table or as JSON.
#include <string>
#include <vector>

class ZefaInfoCommand {
 public:
  static int run(const std::vector<std::string>& arguments);
};
