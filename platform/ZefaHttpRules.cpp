#include "platform/ZefaHttpRules.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

constexpr double kDefaultTimeoutSeconds = 60.0;
constexpr double kLongestTimeoutSeconds = 86400.0 * 365;

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// Headers that describe a body; they go when a redirect turns the request into a bodiless GET.
bool isBodyHeader(std::string_view name) {
  for (const std::string_view body :
       {"Content-Type", "Content-Length", "Content-Encoding", "Transfer-Encoding"}) {
    if (ZefaHttpRules::sameName(name, body)) return true;
  }
  return false;
}

bool isHttps(std::string_view url) {
  return url.size() >= 8 && ZefaHttpRules::sameName(url.substr(0, 8), "https://");
}

}  // namespace

bool ZefaHttpRules::sameName(std::string_view a, std::string_view b) {
  return std::ranges::equal(a, b, [](char x, char y) { return lower(x) == lower(y); });
}

ZefaHttpRules::Headers ZefaHttpRules::merged(const Headers& headers) {
  Headers lines;
  for (const auto& header : headers) {
    const auto same = std::ranges::find_if(
        lines, [&](const auto& entry) { return sameName(entry.first, header.first); });
    if (same == lines.end()) {
      lines.push_back(header);
    } else {
      same->second += ", " + header.second;
    }
  }
  return lines;
}

std::chrono::steady_clock::duration ZefaHttpRules::idleLimit(double seconds) {
  if (!(seconds > 0) || !std::isfinite(seconds)) seconds = kDefaultTimeoutSeconds;
  seconds = std::min(seconds, kLongestTimeoutSeconds);
  return std::chrono::duration_cast<std::chrono::steady_clock::duration>(
      std::chrono::duration<double>(seconds));
}

std::string ZefaHttpRules::timeoutError(std::chrono::steady_clock::duration limit) {
  char text[64];
  std::snprintf(text, sizeof text, "%g", std::chrono::duration<double>(limit).count());
  return "the request timed out: no data for " + std::string(text) + " s";
}

bool ZefaHttpRules::isRedirect(long status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

std::optional<std::string> ZefaHttpRules::follow(ZefaHttpRequest& request, long status,
                                                 const std::string& location, int& redirects,
                                                 int maxRedirects) {
  if (++redirects > maxRedirects) {
    return "too many redirects (more than " + std::to_string(maxRedirects) + ")";
  }
  if (isHttps(request.url) && !isHttps(location)) {
    return "redirect from https to " + location + " refused";
  }
  request.url = location;
  if (status != 307 && status != 308) {
    request.method = "GET";
    request.body.clear();
    std::erase_if(request.headers, [](const auto& header) { return isBodyHeader(header.first); });
  }
  return std::nullopt;
}
