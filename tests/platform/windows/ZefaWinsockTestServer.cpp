#include "tests/platform/windows/ZefaWinsockTestServer.h"

#include <winsock2.h>
#include <ws2tcpip.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace {

bool sameName(const std::string& a, const std::string& b) {
  return std::ranges::equal(a, b,
                            [](char x, char y) { return std::tolower(x) == std::tolower(y); });
}

void startWinsockOnce() {
  static const bool started = [] {
    WSADATA data;
    return WSAStartup(MAKEWORD(2, 2), &data) == 0;
  }();
  if (!started) std::abort();
}

bool sendAll(SOCKET socket, const std::string& data) {
  for (size_t sent = 0; sent < data.size();) {
    const int n = ::send(socket, data.data() + sent, static_cast<int>(data.size() - sent), 0);
    if (n <= 0) return false;
    sent += static_cast<size_t>(n);
  }
  return true;
}

}  // namespace

std::vector<std::string> ZefaWinsockRequest::header(const std::string& name) const {
  std::vector<std::string> values;
  for (const auto& [key, value] : headers) {
    if (sameName(key, name)) values.push_back(value);
  }
  return values;
}

ZefaWinsockTestServer::ZefaWinsockTestServer(Script script) : script_(std::move(script)) {
  startWinsockOnce();
  const SOCKET listener = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  int size = sizeof address;
  if (listener == INVALID_SOCKET ||
      ::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      ::listen(listener, SOMAXCONN) != 0 ||
      ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    std::abort();
  }
  listener_ = listener;
  port_ = ntohs(address.sin_port);
  acceptor_ = std::thread([this] { acceptLoop(); });
}

ZefaWinsockTestServer::~ZefaWinsockTestServer() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
    // Closing is what ends a recv() blocked on another thread; serve() then finds it gone.
    for (const uintptr_t connection : connections_) ::closesocket(connection);
    connections_.clear();
  }
  stopped_.notify_all();
  ::closesocket(listener_);
  acceptor_.join();
  std::vector<std::thread> servers;
  {
    std::lock_guard lock(mutex_);
    servers.swap(servers_);
  }
  for (auto& server : servers) server.join();
}

std::string ZefaWinsockTestServer::url(const std::string& path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + path;
}

std::vector<ZefaWinsockRequest> ZefaWinsockTestServer::requests() const {
  std::lock_guard lock(mutex_);
  return requests_;
}

void ZefaWinsockTestServer::acceptLoop() {
  while (true) {
    const SOCKET connection = ::accept(listener_, nullptr, nullptr);
    if (connection == INVALID_SOCKET) return;  // the listener was closed
    std::lock_guard lock(mutex_);
    if (stopping_) {
      ::closesocket(connection);
      return;
    }
    connections_.push_back(connection);
    servers_.emplace_back([this, connection] { serve(connection); });
  }
}

void ZefaWinsockTestServer::serve(uintptr_t connection) {
  std::string pending;
  while (const auto request = readRequest(connection, pending)) {
    {
      std::lock_guard lock(mutex_);
      requests_.push_back(*request);
    }
    if (!answer(connection, script_(*request))) break;
  }
  std::lock_guard lock(mutex_);
  if (std::erase(connections_, connection) > 0) ::closesocket(connection);
}

// Reads one request (head and Content-Length body); none when the connection ends first.
std::optional<ZefaWinsockRequest> ZefaWinsockTestServer::readRequest(uintptr_t connection,
                                                                     std::string& pending) {
  const auto fill = [&] {
    char chunk[4096];
    const int n = ::recv(connection, chunk, sizeof chunk, 0);
    if (n > 0) pending.append(chunk, static_cast<size_t>(n));
    return n > 0;
  };
  size_t headEnd;
  while ((headEnd = pending.find("\r\n\r\n")) == std::string::npos) {
    if (!fill()) return std::nullopt;
  }
  ZefaWinsockRequest request;
  std::istringstream head(pending.substr(0, headEnd + 2));  // every line ends in "\r\n"
  std::string line;
  std::getline(head, line);
  std::istringstream(line) >> request.method >> request.target;
  size_t contentLength = 0;
  while (std::getline(head, line)) {
    line.pop_back();  // '\r'
    const size_t colon = line.find(':');
    const size_t start = line.find_first_not_of(' ', colon + 1);
    request.headers.emplace_back(line.substr(0, colon), line.substr(std::min(start, line.size())));
    if (sameName(request.headers.back().first, "Content-Length")) {
      contentLength = std::stoul(request.headers.back().second);
    }
  }
  pending.erase(0, headEnd + 4);
  while (pending.size() < contentLength) {
    if (!fill()) return std::nullopt;
  }
  request.body = pending.substr(0, contentLength);
  pending.erase(0, contentLength);
  return request;
}

// Answers as the script said; false when the connection is to end.
bool ZefaWinsockTestServer::answer(uintptr_t connection, const ZefaWinsockReply& reply) {
  using Kind = ZefaWinsockReply::Kind;
  if (reply.kind == Kind::Close) return false;
  if (reply.kind == Kind::Silence) {
    std::unique_lock lock(mutex_);
    stopped_.wait(lock, [this] { return stopping_; });
    return false;
  }
  // Clients read the status code; the reason phrase may be any text.
  std::string text = "HTTP/1.1 " + std::to_string(reply.status) +
                     " Status\r\nContent-Length: " + std::to_string(reply.body.size()) + "\r\n";
  for (const auto& [name, value] : reply.headers) text += name + ": " + value + "\r\n";
  text += "\r\n";
  if (reply.kind == Kind::Reply) return sendAll(connection, text + reply.body);
  if (!sendAll(connection, text)) return false;
  for (const char next : reply.body) {
    std::unique_lock lock(mutex_);
    if (stopped_.wait_for(lock, reply.dripInterval, [this] { return stopping_; })) return false;
    lock.unlock();
    if (!sendAll(connection, std::string(1, next))) return false;
  }
  return true;
}
