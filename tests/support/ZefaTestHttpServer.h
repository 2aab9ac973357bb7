#pragma once
// A real HTTP server on 127.0.0.1 for tests (libmicrohttpd, one polling thread): it records every
// request as it arrived and answers with what the test's handler says.
#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct MHD_Daemon;

struct ZefaRecordedRequest {
  std::string method;
  std::string target;                                        // path and query exactly as sent
  std::vector<std::pair<std::string, std::string>> headers;  // in arrival order
  std::string body;
  std::chrono::steady_clock::time_point arrival;  // when the request was complete
  // The value of the header `name` (any case); none when absent.
  std::optional<std::string> header(std::string_view name) const;
};

struct ZefaScriptedReply {
  unsigned status = 200;
  std::string body;
  std::vector<std::pair<std::string, std::string>> headers = {};
};

class ZefaTestHttpServer {
 public:
  using Handler = std::function<ZefaScriptedReply(const ZefaRecordedRequest&)>;

  // A server that answers every request with `reply`.
  explicit ZefaTestHttpServer(ZefaScriptedReply reply)
      : ZefaTestHttpServer([reply](const ZefaRecordedRequest&) { return reply; }) {}
  explicit ZefaTestHttpServer(Handler handler);
  // An https server with the repository's test certificate for 127.0.0.1 (kTlsCertificate).
  struct Tls {};
  ZefaTestHttpServer(Tls, Handler handler);
  static constexpr const char* kTlsCertificate = ZEFA_SOURCE_DIR "/tests/data/tls/localhost.crt";
  ~ZefaTestHttpServer();
  ZefaTestHttpServer(const ZefaTestHttpServer&) = delete;
  ZefaTestHttpServer& operator=(const ZefaTestHttpServer&) = delete;

  // "http://127.0.0.1:<port>" (or https) + path.
  std::string url(std::string_view path = "") const;
  std::vector<ZefaRecordedRequest> requests() const;
  // Called by the server's thread.
  ZefaScriptedReply handle(ZefaRecordedRequest request);

 private:
  void start(bool tls);
  Handler handler_;
  mutable std::mutex mutex_;
  std::vector<ZefaRecordedRequest> requests_;
  std::string scheme_ = "http";
  MHD_Daemon* daemon_ = nullptr;
  uint16_t port_ = 0;
};
