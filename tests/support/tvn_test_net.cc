#include "tvn_test_net.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace tvn_test {

namespace {

sockaddr_in loopback_addr(int port) {
    sockaddr_in sa{};
    sa.sin_family = AF_INET;
    sa.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    sa.sin_port = htons(static_cast<uint16_t>(port));
    return sa;
}

}  // namespace

int free_port() {
    int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0) return -1;
    sockaddr_in sa = loopback_addr(0);
    socklen_t len = sizeof(sa);
    int port = -1;
    if (::bind(fd, reinterpret_cast<sockaddr*>(&sa), sizeof(sa)) == 0 &&
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&sa), &len) == 0)
        port = ntohs(sa.sin_port);
    ::close(fd);
    return port;
}

bool port_accepts(int port) {
    int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0) return false;
    sockaddr_in sa = loopback_addr(port);
    bool ok = ::connect(fd, reinterpret_cast<sockaddr*>(&sa), sizeof(sa)) == 0;
    ::close(fd);
    return ok;
}

taken_port::taken_port(int port) {
    fd_ = ::socket(AF_INET, SOCK_STREAM, 0);
    if (fd_ < 0) return;
    int one = 1;
    ::setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof(one));
    sockaddr_in sa = loopback_addr(port);
    if (::bind(fd_, reinterpret_cast<sockaddr*>(&sa), sizeof(sa)) != 0 || ::listen(fd_, 1) != 0) {
        ::close(fd_);
        fd_ = -1;
    }
}

taken_port::~taken_port() {
    if (fd_ >= 0) ::close(fd_);
}

}  // namespace tvn_test
