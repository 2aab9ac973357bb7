#pragma once
// Stops the program on a broken precondition: one line on standard error, then abort.
#include <string_view>

#include "ZefaBase/ZefaExport.h"

class ZEFA_EXPORT ZefaFatal {
 public:
  [[noreturn]] static void stop(std::string_view reason);
};
