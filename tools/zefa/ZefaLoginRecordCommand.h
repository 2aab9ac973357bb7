#pragma once
// `zefa login-record show|set JSON|clear`: the stored login record (user-defaults key
// "ZEFA_LOGIN_TOKEN") that server calls with the disk token read.
#include <string>
#include <vector>

class ZefaLoginRecordCommand {
 public:
  static int run(const std::vector<std::string>& arguments);
};
