#include "bench/support/ZefaLoopbackResponder.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <strings.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unordered_map>

namespace {

// Bytes of a complete request at the start of `in`, or 0 when it is not all there yet.
size_t requestLength(const std::string& in) {
  const size_t headerEnd = in.find("\r\n\r\n");
  if (headerEnd == std::string::npos) return 0;
  size_t bodyLength = 0;
  for (size_t at = in.find("\r\n"); at < headerEnd; at = in.find("\r\n", at + 2)) {
    static constexpr char kName[] = "content-length:";
    if (::strncasecmp(in.data() + at + 2, kName, sizeof kName - 1) == 0) {
      bodyLength = std::strtoul(in.data() + at + 2 + sizeof kName - 1, nullptr, 10);
    }
  }
  const size_t total = headerEnd + 4 + bodyLength;
  return in.size() >= total ? total : 0;
}

}  // namespace

ZefaLoopbackResponder::ZefaLoopbackResponder(std::string replyBody) {
  reply_ = "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: " +
           std::to_string(replyBody.size()) + "\r\n\r\n" + replyBody;
  listenFd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (::bind(listenFd_, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
      ::listen(listenFd_, 4096) != 0 ||
      ::getsockname(listenFd_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    std::perror("ZefaLoopbackResponder");
    std::abort();
  }
  port_ = ntohs(address.sin_port);
  epollFd_ = ::epoll_create1(EPOLL_CLOEXEC);
  stopFd_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  for (const int fd : {listenFd_, stopFd_}) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = fd;
    ::epoll_ctl(epollFd_, EPOLL_CTL_ADD, fd, &event);
  }
  thread_ = std::thread([this] { serve(); });
}

ZefaLoopbackResponder::~ZefaLoopbackResponder() {
  const uint64_t one = 1;
  [[maybe_unused]] const auto written = ::write(stopFd_, &one, sizeof one);
  thread_.join();
  ::close(stopFd_);
  ::close(epollFd_);
  ::close(listenFd_);
}

std::string ZefaLoopbackResponder::url(const std::string& path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + path;
}

void ZefaLoopbackResponder::serve() {
  std::unordered_map<int, std::string> pending;  // bytes received and not yet answered
  epoll_event events[256];
  char buffer[65536];
  while (true) {
    const int ready = ::epoll_wait(epollFd_, events, 256, 1000);
    for (int i = 0; i < ready; ++i) {
      const int fd = events[i].data.fd;
      if (fd == stopFd_) {
        for (const auto& [open, unused] : pending) ::close(open);
        return;
      }
      if (fd == listenFd_) {
        int client;
        while ((client = ::accept4(listenFd_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC)) >=
               0) {
          const int on = 1;
          ::setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
          epoll_event event{};
          event.events = EPOLLIN;
          event.data.fd = client;
          ::epoll_ctl(epollFd_, EPOLL_CTL_ADD, client, &event);
          pending[client];
        }
        continue;
      }
      std::string& in = pending[fd];
      ssize_t n;
      while ((n = ::read(fd, buffer, sizeof buffer)) > 0) in.append(buffer, static_cast<size_t>(n));
      if (n == 0) {
        ::close(fd);
        pending.erase(fd);
        continue;
      }
      std::string out;
      while (const size_t used = requestLength(in)) {
        in.erase(0, used);
        out += reply_;
        served_.fetch_add(1, std::memory_order_relaxed);
      }
      // Replies are small; the socket buffer takes them whole on loopback.
      if (!out.empty()) {
        [[maybe_unused]] const auto written = ::write(fd, out.data(), out.size());
      }
    }
  }
}
