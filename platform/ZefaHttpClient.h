#pragma once
// Moves one HTTP request and its reply. Policy (bodies, envelopes, retries, logging) sits above;
// a port to another OS replaces only this class.
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ZefaBase/ZefaExport.h"

struct ZEFA_EXPORT ZefaHttpRequest {
  std::string method;  // "GET" or "POST"
  std::string url;
  // Header lines in the order they are sent. A name given twice is sent once, its values joined
  // with ", " (names compare without regard to case).
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;  // sent as it is; an empty body is sent as no body
  // How long the request may stay idle waiting for data, in seconds (not a total deadline).
  double timeoutSeconds = 60.0;
  // Room a client may use for the reply's body: its capacity, not its contents. The caller
  // hands back the body of an earlier reply, so that a run of replies reuses its memory.
  std::string replyRoom = {};
};

struct ZEFA_EXPORT ZefaHttpResponse {
  int64_t status = 0;                // HTTP status; 0 when no response arrived
  std::optional<std::string> body;   // the body bytes, none when the request failed
  std::optional<std::string> error;  // a readable description of a request failure, none on success
};

class ZEFA_EXPORT ZefaHttpClient {
 public:
  virtual ~ZefaHttpClient() = default;
  // Starts the request and returns at once. `completion` runs exactly once, on the client's own
  // thread, with the body or the error. It must only hand the response on, never do real work.
  virtual void start(ZefaHttpRequest request, std::function<void(ZefaHttpResponse)> completion) = 0;
};
