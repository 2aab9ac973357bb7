#pragma once
// `zefa get`: one GET through the library's transport (ZefaSDKUtils::get), the query made of
// key=value arguments; prints the decoded JSON reply, or the transport's message and exit 1.
#include <string>
#include <vector>

class ZefaGetCommand {
 public:
  static int run(const std::vector<std::string>& arguments);
};
