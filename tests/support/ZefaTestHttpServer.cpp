#include "tests/support/ZefaTestHttpServer.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <strings.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "tests/platform/ZefaTestMachine.h"

namespace {

// The request being received on a connection. The target is taken from the request line as sent
// (the handler's url argument has the query cut off).
struct RequestState {
  std::string target;
  std::string body;
  bool started = false;
};

void* onUri(void*, const char* uri, MHD_Connection*) { return new RequestState{uri, "", false}; }

void onCompleted(void*, MHD_Connection*, void** requestContext, MHD_RequestTerminationCode) {
  delete static_cast<RequestState*>(*requestContext);
  *requestContext = nullptr;
}

MHD_Result collectHeader(void* target, MHD_ValueKind, const char* key, const char* value) {
  static_cast<ZefaRecordedRequest*>(target)->headers.emplace_back(key, value ? value : "");
  return MHD_YES;
}

MHD_Result onRequest(void* server, MHD_Connection* connection, const char*, const char* method,
                     const char*, const char* uploadData, size_t* uploadSize,
                     void** requestContext) {
  auto* state = static_cast<RequestState*>(*requestContext);
  if (!state->started || *uploadSize > 0) {  // the headers, then each piece of the body
    state->started = true;
    state->body.append(uploadData ? uploadData : "", *uploadSize);
    *uploadSize = 0;
    return MHD_YES;
  }
  ZefaRecordedRequest request{
      method, state->target, {}, std::move(state->body), std::chrono::steady_clock::now()};
  MHD_get_connection_values(connection, MHD_HEADER_KIND, collectHeader, &request);
  const ZefaScriptedReply reply =
      static_cast<ZefaTestHttpServer*>(server)->handle(std::move(request));
  MHD_Response* response = MHD_create_response_from_buffer(
      reply.body.size(), const_cast<char*>(reply.body.data()), MHD_RESPMEM_MUST_COPY);
  for (const auto& [name, value] : reply.headers) {
    MHD_add_response_header(response, name.c_str(), value.c_str());
  }
  const MHD_Result queued = MHD_queue_response(connection, reply.status, response);
  MHD_destroy_response(response);
  return queued;
}

}  // namespace

std::optional<std::string> ZefaRecordedRequest::header(std::string_view name) const {
  const auto found = std::ranges::find_if(headers, [name](const auto& entry) {
    return entry.first.size() == name.size() &&
           ::strncasecmp(entry.first.data(), name.data(), name.size()) == 0;
  });
  return found == headers.end() ? std::nullopt : std::optional(found->second);
}

ZefaTestHttpServer::ZefaTestHttpServer(Handler handler) : handler_(std::move(handler)) {
  start(false);
}

ZefaTestHttpServer::ZefaTestHttpServer(Tls, Handler handler) : handler_(std::move(handler)) {
  start(true);
}

void ZefaTestHttpServer::start(bool tls) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  // The key and certificate must outlive the daemon's start.
  const std::string key =
      tls ? zefaFileContent(ZEFA_SOURCE_DIR "/tests/data/tls/localhost.key") : "";
  const std::string certificate = tls ? zefaFileContent(kTlsCertificate) : "";
  scheme_ = tls ? "https" : "http";
  daemon_ = MHD_start_daemon(MHD_USE_EPOLL_INTERNAL_THREAD | (tls ? MHD_USE_TLS : 0), 0, nullptr,
                             nullptr, &onRequest, this, MHD_OPTION_SOCK_ADDR,
                             reinterpret_cast<sockaddr*>(&address), MHD_OPTION_URI_LOG_CALLBACK,
                             &onUri, nullptr, MHD_OPTION_NOTIFY_COMPLETED, &onCompleted, nullptr,
                             MHD_OPTION_CONNECTION_LIMIT, 10000u, MHD_OPTION_LISTEN_BACKLOG_SIZE,
                             4096u, tls ? MHD_OPTION_HTTPS_MEM_KEY : MHD_OPTION_END, key.c_str(),
                             MHD_OPTION_HTTPS_MEM_CERT, certificate.c_str(), MHD_OPTION_END);
  if (daemon_ == nullptr) {
    std::fputs("ZefaTestHttpServer: cannot start the server\n", stderr);
    std::abort();
  }
  port_ = MHD_get_daemon_info(daemon_, MHD_DAEMON_INFO_BIND_PORT)->port;
}

ZefaTestHttpServer::~ZefaTestHttpServer() { MHD_stop_daemon(daemon_); }

std::string ZefaTestHttpServer::url(std::string_view path) const {
  return scheme_ + "://127.0.0.1:" + std::to_string(port_) + std::string(path);
}

ZefaScriptedReply ZefaTestHttpServer::handle(ZefaRecordedRequest request) {
  ZefaScriptedReply reply = handler_(request);
  std::lock_guard lock(mutex_);
  requests_.push_back(std::move(request));
  return reply;
}

std::vector<ZefaRecordedRequest> ZefaTestHttpServer::requests() const {
  std::lock_guard lock(mutex_);
  return requests_;
}
