#include "tests/support/ZefaTestHttpServer.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <strings.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// Per connection request: filled while the request arrives.
struct RequestState {
  std::string target;
  std::string body;
  bool started = false;
};

void* onUri(void*, const char* uri, MHD_Connection*) {
  auto* state = new RequestState;
  state->target = uri;
  return state;
}

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
  if (!state->started) {
    state->started = true;
    return MHD_YES;
  }
  if (*uploadSize > 0) {
    state->body.append(uploadData, *uploadSize);
    *uploadSize = 0;
    return MHD_YES;
  }
  ZefaRecordedRequest request;
  request.method = method;
  request.target = state->target;
  request.body = std::move(state->body);
  MHD_get_connection_values(connection, MHD_HEADER_KIND, collectHeader, &request);
  const MHD_ConnectionInfo* info =
      MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
  if (info != nullptr && info->client_addr->sa_family == AF_INET) {
    request.clientPort = ntohs(reinterpret_cast<const sockaddr_in*>(info->client_addr)->sin_port);
  }
  const ZefaScriptedReply reply =
      static_cast<ZefaTestHttpServer*>(server)->handle(std::move(request));
  MHD_Response* response = MHD_create_response_from_buffer(
      reply.body.size(), const_cast<char*>(reply.body.data()), MHD_RESPMEM_MUST_COPY);
  if (!reply.contentType.empty()) {
    MHD_add_response_header(response, "Content-Type", reply.contentType.c_str());
  }
  const MHD_Result queued = MHD_queue_response(connection, reply.status, response);
  MHD_destroy_response(response);
  return queued;
}

}  // namespace

std::string ZefaRecordedRequest::path() const { return target.substr(0, target.find('?')); }

std::optional<std::string> ZefaRecordedRequest::query() const {
  const auto mark = target.find('?');
  if (mark == std::string::npos) return std::nullopt;
  return target.substr(mark + 1);
}

std::optional<std::string> ZefaRecordedRequest::header(std::string_view name) const {
  for (const auto& [key, value] : headers) {
    if (key.size() == name.size() && ::strncasecmp(key.data(), name.data(), key.size()) == 0) {
      return value;
    }
  }
  return std::nullopt;
}

ZefaTestHttpServer::Handler ZefaTestHttpServer::always(ZefaScriptedReply reply) {
  return [reply](const ZefaRecordedRequest&) { return reply; };
}

ZefaTestHttpServer::ZefaTestHttpServer(Handler handler) : handler_(std::move(handler)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = 0;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  daemon_ = MHD_start_daemon(
      MHD_USE_EPOLL_INTERNAL_THREAD, 0, nullptr, nullptr, &onRequest, this, MHD_OPTION_SOCK_ADDR,
      reinterpret_cast<sockaddr*>(&address), MHD_OPTION_URI_LOG_CALLBACK, &onUri, nullptr,
      MHD_OPTION_NOTIFY_COMPLETED, &onCompleted, nullptr, MHD_OPTION_CONNECTION_LIMIT, 10000u,
      MHD_OPTION_LISTEN_BACKLOG_SIZE, 4096u, MHD_OPTION_END);
  if (daemon_ == nullptr) {
    std::fputs("ZefaTestHttpServer: cannot start the server\n", stderr);
    std::abort();
  }
  port_ = MHD_get_daemon_info(daemon_, MHD_DAEMON_INFO_BIND_PORT)->port;
}

ZefaTestHttpServer::~ZefaTestHttpServer() { MHD_stop_daemon(daemon_); }

std::string ZefaTestHttpServer::url(std::string_view path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + std::string(path);
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

size_t ZefaTestHttpServer::requestCount() const {
  std::lock_guard lock(mutex_);
  return requests_.size();
}
