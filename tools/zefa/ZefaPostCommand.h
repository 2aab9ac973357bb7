#pragma once
// `zefa post`: one backend call through ZefaServerCall (or a ZefaServerCallRetry object with
// retries), with the library's log lines on standard error, then the reply's "data" (success)
// or the status ({"code","msg"}, exit code 1) on standard output.
#include <string>
#include <vector>

class ZefaPostCommand {
 public:
  static int run(const std::vector<std::string>& arguments);
};
