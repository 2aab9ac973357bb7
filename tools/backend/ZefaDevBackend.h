#pragma once
// A development backend on 127.0.0.1 that speaks the SDK backend's contract: every path of
// ZefaLoginPath and ZefaPurchasePath answers the reply envelope, with its state in SQLite and
// with injected faults. It serves from its own threads (libmicrohttpd, one per connection), so
// it can run inside the process that calls it. One log line per request.
//
//   ZefaDevBackend backend({.port = 0});
//   if (!backend.start()) { /* backend.error() */ }
//   ZefaServerCall::setHostAndDeviceId(backend.url(), "", deviceId);
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/backend/ZefaBackendApi.h"
#include "tools/backend/ZefaBackendFaults.h"
#include "tools/backend/ZefaBackendStore.h"

struct MHD_Daemon;
struct MHD_Connection;

class ZefaDevBackend {
 public:
  struct Options {
    uint16_t port = 0;     // 0: a free port
    std::string database;  // a SQLite file; "" keeps the state in memory
    int delayMs = 0;       // waited before every answer
    double failRate = 0;   // share of requests answered with a random failure
    std::vector<ZefaScriptedFailure> failures;
    size_t maxBodyBytes = 1 << 20;  // larger bodies are answered 413 (and not kept)
    // Receives each request's log line; none writes it to standard output.
    std::function<void(const std::string& line)> log;
  };

  explicit ZefaDevBackend(Options options);
  ~ZefaDevBackend();
  ZefaDevBackend(const ZefaDevBackend&) = delete;
  ZefaDevBackend& operator=(const ZefaDevBackend&) = delete;

  // Opens the database and starts serving; false, with error() saying why, when either fails.
  bool start();
  // Stops serving: waits for the requests being answered, then closes their connections.
  void stop();
  const std::string& error() const { return error_; }

  uint16_t port() const { return port_; }
  // "http://127.0.0.1:<port>": the value for ZefaServerCall::HOST.
  std::string url() const;
  ZefaBackendFaults& faults() { return faults_; }
  size_t maxBodyBytes() const { return options_.maxBodyBytes; }

  // A complete request, as the server received it. Called on a connection thread.
  struct Received {
    std::string method;
    std::string target;  // path and query as sent
    std::string path;
    std::optional<std::string> sessionToken;
    std::string deviceId;
    std::string host;
    std::string body;
    ZefaJsonObject query;  // the query parameters other than the token
    bool bodyTooLarge = false;
  };
  struct Reply {
    unsigned httpStatus = 200;
    std::string body;
  };
  Reply handle(const Received& request);

 private:
  std::string logLine(const Received& request, const Reply& reply,
                      const ZefaBackendAnswer& answer) const;

  Options options_;
  ZefaBackendFaults faults_;
  std::unique_ptr<ZefaBackendStore> store_;
  std::unique_ptr<ZefaBackendApi> api_;
  MHD_Daemon* daemon_ = nullptr;
  uint16_t port_ = 0;
  std::string error_;
};
