#include "ZefaBase/ZefaFatal.h"

#include <cstdio>
#include <cstdlib>
#include <string>

void ZefaFatal::stop(std::string_view reason) {
  std::string line = "ZefaBase: Fatal error: ";
  line.append(reason);
  line.push_back('\n');
  std::fwrite(line.data(), 1, line.size(), stderr);
  std::fflush(stderr);
  std::abort();
}
