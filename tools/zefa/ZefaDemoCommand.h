#pragma once
// `zefa demo`: the library's whole road in a few seconds against a development backend started
// in this process: static info, login, the stored login record, a call with the disk token, a
// backend failure code, a call object retrying through a scripted failure, a purchase, and the
// two hubs fanning events out to listeners. Exits 0 when every step behaved as expected.
#include <string>
#include <vector>

class ZefaDemoCommand {
 public:
  static int run(const std::vector<std::string>& arguments);
};
