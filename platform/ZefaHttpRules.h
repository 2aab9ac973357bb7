#pragma once
// What every HTTP client of the platform decides alike, whatever moves the bytes: the header
// lines sent, the idle timeout and its error, and the redirects followed (as a browser does:
// 301/302/303 become a GET without a body, 307/308 repeat the request; never from https to http).
#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/ZefaHttpClient.h"

class ZefaHttpRules {
 public:
  using Headers = std::vector<std::pair<std::string, std::string>>;

  // Header names compare without regard to case.
  static bool sameName(std::string_view a, std::string_view b);
  // One line per name in first-seen order, the values of a repeated name joined with ", ".
  static Headers merged(const Headers& headers);
  // The idle timeout of a request's timeoutSeconds (60 s when it is not a positive number).
  static std::chrono::steady_clock::duration idleLimit(double seconds);
  // The error of a request that waited `limit` without receiving a byte.
  static std::string timeoutError(std::chrono::steady_clock::duration limit);

  static bool isRedirect(long status);
  // Turns `request` into the one a redirect with `status` to the absolute address `location`
  // asks for, counting it in `redirects`. An error text, with `request` unchanged, when the
  // redirect may not be followed.
  static std::optional<std::string> follow(ZefaHttpRequest& request, long status,
                                           const std::string& location, int& redirects,
                                           int maxRedirects);
};
