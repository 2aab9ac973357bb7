#include "tools/backend/ZefaDevBackend.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>

#include <chrono>
#include <cstdio>
#include <thread>
#include <utility>

namespace {

// Texts in log lines and messages are cut here.
constexpr size_t kLoggedBodyBytes = 300;
// An idle connection is closed after this long.
constexpr unsigned kConnectionTimeoutSeconds = 30;

// The request being received on one connection.
struct Pending {
  std::string target;
  std::string body;
  bool started = false;
  bool tooLarge = false;
};

void* onUri(void*, const char* uri, MHD_Connection*) { return new Pending{uri, "", false, false}; }

void onCompleted(void*, MHD_Connection*, void** context, MHD_RequestTerminationCode) {
  delete static_cast<Pending*>(*context);
  *context = nullptr;
}

MHD_Result collectQuery(void* target, MHD_ValueKind, const char* key, const char* value) {
  if (key != nullptr && std::string_view(key) != "sessionToken") {
    (*static_cast<ZefaJsonObject*>(target))[key] = value ? value : "";
  }
  return MHD_YES;
}

std::string header(MHD_Connection* connection, const char* name) {
  const char* value = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, name);
  return value ? value : "";
}

// JSON text for replies and log lines; bytes that are not UTF-8 become U+FFFD.
std::string dump(const ZefaJson& value) {
  return value.dump(-1, ' ', false, ZefaJson::error_handler_t::replace);
}

// `text` cut to a readable length, control bytes shown as ".".
std::string printable(std::string_view text) {
  std::string shown(text.substr(0, kLoggedBodyBytes));
  for (char& byte : shown) {
    if (static_cast<unsigned char>(byte) < 0x20 || byte == 0x7f) byte = '.';
  }
  if (text.size() > kLoggedBodyBytes) shown += "...(" + std::to_string(text.size()) + " bytes)";
  return shown;
}

MHD_Result onRequest(void* backend, MHD_Connection* connection, const char* url, const char* method,
                     const char*, const char* uploadData, size_t* uploadSize, void** context) {
  auto* pending = static_cast<Pending*>(*context);
  auto* server = static_cast<ZefaDevBackend*>(backend);
  if (!pending->started || *uploadSize > 0) {  // the headers, then each piece of the body
    pending->started = true;
    if (pending->body.size() + *uploadSize > server->maxBodyBytes()) {
      pending->tooLarge = true;
      pending->body.clear();
    } else if (!pending->tooLarge) {
      pending->body.append(uploadData ? uploadData : "", *uploadSize);
    }
    *uploadSize = 0;
    return MHD_YES;
  }
  ZefaDevBackend::Received request;
  request.method = method;
  request.target = pending->target;
  request.path = url;
  if (const char* token =
          MHD_lookup_connection_value(connection, MHD_GET_ARGUMENT_KIND, "sessionToken")) {
    request.sessionToken = token;
  }
  request.deviceId = header(connection, "deviceId");
  request.host = header(connection, "Host");
  request.body = std::move(pending->body);
  request.bodyTooLarge = pending->tooLarge;
  MHD_get_connection_values(connection, MHD_GET_ARGUMENT_KIND, collectQuery, &request.query);

  const ZefaDevBackend::Reply reply = server->handle(request);
  MHD_Response* response = MHD_create_response_from_buffer(
      reply.body.size(), const_cast<char*>(reply.body.data()), MHD_RESPMEM_MUST_COPY);
  MHD_add_response_header(response, "Content-Type", "application/json");
  const MHD_Result queued = MHD_queue_response(connection, reply.httpStatus, response);
  MHD_destroy_response(response);
  return queued;
}

}  // namespace

ZefaDevBackend::ZefaDevBackend(Options options)
    : options_(std::move(options)),
      faults_(options_.delayMs, options_.failRate, options_.failures) {}

ZefaDevBackend::~ZefaDevBackend() { stop(); }

bool ZefaDevBackend::start() {
  if (daemon_ != nullptr) return true;
  store_ = std::make_unique<ZefaBackendStore>(options_.database);
  if (!store_->isOpen()) {
    error_ = "cannot open the database " + options_.database + ": " + store_->error();
    return false;
  }
  api_ = std::make_unique<ZefaBackendApi>(*store_);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(options_.port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  daemon_ = MHD_start_daemon(
      MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_THREAD_PER_CONNECTION | MHD_USE_POLL, 0, nullptr,
      nullptr, &onRequest, this, MHD_OPTION_SOCK_ADDR, reinterpret_cast<sockaddr*>(&address),
      MHD_OPTION_URI_LOG_CALLBACK, &onUri, nullptr, MHD_OPTION_NOTIFY_COMPLETED, &onCompleted,
      nullptr, MHD_OPTION_CONNECTION_TIMEOUT, kConnectionTimeoutSeconds,
      MHD_OPTION_CONNECTION_LIMIT, 256u, MHD_OPTION_END);
  if (daemon_ == nullptr) {
    error_ = "cannot listen on 127.0.0.1:" + std::to_string(options_.port);
    return false;
  }
  port_ = MHD_get_daemon_info(daemon_, MHD_DAEMON_INFO_BIND_PORT)->port;
  return true;
}

void ZefaDevBackend::stop() {
  if (daemon_ != nullptr) MHD_stop_daemon(daemon_);
  daemon_ = nullptr;
}

std::string ZefaDevBackend::url() const { return "http://127.0.0.1:" + std::to_string(port_); }

ZefaDevBackend::Reply ZefaDevBackend::handle(const Received& request) {
  if (faults_.delayMs() > 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(faults_.delayMs()));
  }
  unsigned status = 200;
  ZefaBackendAnswer answer;
  std::optional<ZefaJson> body;
  std::optional<ZefaScriptedFailure> failure;
  if (request.bodyTooLarge) {
    status = 413;
    answer = ZefaBackendAnswer::failure(
        ZefaBackendApi::kTooLarge,
        "request body over " + std::to_string(options_.maxBodyBytes) + " bytes");
  } else if (!ZefaBackendApi::knows(request.path)) {
    status = 404;
    answer = ZefaBackendAnswer::failure(ZefaBackendApi::kNotFound,
                                        "no such path: " + printable(request.path));
  } else if ((failure = faults_.failureFor(request.path))) {
    answer = ZefaBackendAnswer::failure(failure->code, failure->msg);
  } else if (request.method != "GET" && !request.body.empty() &&
             (!(body = ZefaJsonText::parse(request.body)) || !body->is_object())) {
    status = 400;
    answer = ZefaBackendAnswer::failure(ZefaBackendApi::kBadRequest,
                                        "request body is not a JSON object");
  } else {
    ZefaBackendRequest call{request.path, request.sessionToken, request.deviceId,
                            body ? body->get_ref<const ZefaJsonObject&>() : request.query};
    answer = api_->answer(call);
  }
  Reply reply{status, dump(answer.envelope())};
  const std::string line = logLine(request, reply, answer);
  if (options_.log) {
    options_.log(line);
  } else {
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
  }
  return reply;
}

// "POST /api/user/info?sessionToken=... deviceId=D host=H body={...} -> 200 code=0 ok"
std::string ZefaDevBackend::logLine(const Received& request, const Reply& reply,
                                    const ZefaBackendAnswer& answer) const {
  std::string line = request.method + " " + printable(request.target);
  line += " deviceId=" + (request.deviceId.empty() ? "-" : printable(request.deviceId));
  line += " host=" + (request.host.empty() ? "-" : printable(request.host));
  line += " body=" + (request.bodyTooLarge   ? std::string("(over the limit)")
                      : request.body.empty() ? "-"
                                             : printable(request.body));
  line += " -> " + std::to_string(reply.httpStatus) + " code=" + std::to_string(answer.code) + " " +
          printable(answer.msg);
  return line;
}
