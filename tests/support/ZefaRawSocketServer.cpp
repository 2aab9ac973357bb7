#include "tests/support/ZefaRawSocketServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace {

// The value of a Content-Length header in a request head (any spelling of its case), or 0.
size_t contentLength(const std::string& head) {
  for (size_t at = head.find("\r\n"); at != std::string::npos; at = head.find("\r\n", at + 2)) {
    if (::strncasecmp(head.c_str() + at + 2, "content-length:", 15) == 0) {
      return std::strtoul(head.c_str() + at + 17, nullptr, 10);
    }
  }
  return 0;
}

}  // namespace

bool ZefaRawConnection::readRequest() {
  while (fd_ >= 0 && !stopping_) {
    const size_t end = buffered_.find("\r\n\r\n");  // the request's size, once its head is in
    const size_t size =
        end == std::string::npos ? end : end + 4 + contentLength(buffered_.substr(0, end + 2));
    if (buffered_.size() >= size) {
      buffered_.erase(0, size);
      return true;
    }
    pollfd watched{fd_, POLLIN, 0};
    if (::poll(&watched, 1, 50) <= 0) continue;
    char chunk[4096];
    const ssize_t n = ::read(fd_, chunk, sizeof chunk);
    if (n <= 0) return false;
    buffered_.append(chunk, static_cast<size_t>(n));
  }
  return false;
}

void ZefaRawConnection::write(const std::string& bytes, std::chrono::milliseconds interval) {
  if (interval.count() == 0) {
    if (fd_ >= 0) (void)::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    return;
  }
  for (const char byte : bytes) {
    if (fd_ < 0 || stopping_ || ::send(fd_, &byte, 1, MSG_NOSIGNAL) != 1) return;
    pause(interval);
  }
}

void ZefaRawConnection::pause(std::chrono::milliseconds duration) const {
  const auto until = std::chrono::steady_clock::now() + duration;
  while (!stopping_ && std::chrono::steady_clock::now() < until) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

void ZefaRawConnection::reset() {
  if (fd_ < 0) return;
  const linger abortive{1, 0};
  ::setsockopt(fd_, SOL_SOCKET, SO_LINGER, &abortive, sizeof abortive);
  close();
}

void ZefaRawConnection::close() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
}

void ZefaRawSocketServer::bind() {
  listenFd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (listenFd_ < 0 || ::bind(listenFd_, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
      ::getsockname(listenFd_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    std::fputs("ZefaRawSocketServer: cannot bind\n", stderr);
    std::abort();
  }
  port_ = ntohs(address.sin_port);
}

ZefaRawSocketServer::ZefaRawSocketServer(Mode mode) {
  bind();
  if (mode == Mode::HoldOpen) ::listen(listenFd_, 64);
}

ZefaRawSocketServer::ZefaRawSocketServer(Script script) : script_(std::move(script)) {
  bind();
  ::listen(listenFd_, 64);
  acceptor_ = std::thread([this] {  // unblocked by shutdown below
    while (!stopping_) {
      const int fd = ::accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC);
      if (fd < 0) return;
      threads_.emplace_back([this, fd] {
        ZefaRawConnection connection(fd, stopping_);
        script_(connection);
      });
    }
  });
}

ZefaRawSocketServer::~ZefaRawSocketServer() {
  stopping_ = true;
  ::shutdown(listenFd_, SHUT_RDWR);
  if (acceptor_.joinable()) acceptor_.join();
  for (std::thread& thread : threads_) thread.join();
  ::close(listenFd_);
}

std::string ZefaRawSocketServer::url(const std::string& path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + path;
}
