#include "tests/support/ZefaRawSocketServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

ZefaRawSocketServer::ZefaRawSocketServer(Mode mode, std::string reply) {
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
  if (mode != Mode::Refuse) ::listen(listenFd_, 64);
  if (mode != Mode::Trickle) return;
  thread_ = std::thread([this, reply = std::move(reply)] {  // unblocked by the shutdown below
    const int fd = ::accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) return;
    bool open = ::write(fd, reply.data(), reply.find("\r\n\r\n") + 4) > 0;
    for (size_t sent = reply.find("\r\n\r\n") + 4; open && sent < reply.size(); ++sent) {
      std::this_thread::sleep_for(kTrickleInterval);
      open = !stopping_ && ::write(fd, reply.data() + sent, 1) == 1;
    }
    // Kept open until the server goes away: closing with the request unread would reset it.
    while (!stopping_) std::this_thread::sleep_for(std::chrono::milliseconds(20));
    ::close(fd);
  });
}

ZefaRawSocketServer::~ZefaRawSocketServer() {
  stopping_ = true;
  ::shutdown(listenFd_, SHUT_RDWR);
  if (thread_.joinable()) thread_.join();
  ::close(listenFd_);
}

std::string ZefaRawSocketServer::url(const std::string& path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + path;
}
