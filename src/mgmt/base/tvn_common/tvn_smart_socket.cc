#include "tvn_smart_socket.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "tvn_log.h"

#define COMM_LOG_ERR(err, ...) TVN_LOG(TVN_LOG_MODULE_COMM, TVN_LOG_ERROR, err, __VA_ARGS__)

namespace {
// Device of the service routing domain through which outside servers are
// reached.
constexpr char kServiceVrf[] = "vrf-srv";

// Switches a descriptor to non-blocking; the previous flags go to old_flags.
int SetSocketNonblock(int fd, int& old_flags) {
    old_flags = fcntl(fd, F_GETFL, 0);
    if (old_flags < 0) return -1;
    return fcntl(fd, F_SETFL, old_flags | O_NONBLOCK);
}
}  // namespace

tvn_smart_socket_cli::~tvn_smart_socket_cli() { fini(); }

int tvn_smart_socket_cli::init(const std::string& ip, unsigned short port, int type,
                               bool skip_vrf) {
    if (type != TYPE_STREAM && type != TYPE_DGRAM) return -22;
    fini();
    struct addrinfo hints;
    std::memset(&hints, 0, sizeof(hints));
    hints.ai_socktype = type == TYPE_STREAM ? SOCK_STREAM : SOCK_DGRAM;
    const std::string service = std::to_string(port);
    if (getaddrinfo(ip.c_str(), service.c_str(), &hints, &peer_) != 0 || peer_ == nullptr) {
        peer_ = nullptr;
        COMM_LOG_ERR(-1, "Getaddrinfo(ip:%s) failed(rc).", ip.c_str());
        return -1;
    }
    fd_ = ::socket(peer_->ai_family, peer_->ai_socktype, peer_->ai_protocol);
    if (fd_ < 0) {
        COMM_LOG_ERR(-1, "Create socket(ip:%s) failed.", ip.c_str());
        fini();
        return -1;
    }
    int on = 1;
    (void)setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    if (!skip_vrf &&
        setsockopt(fd_, SOL_SOCKET, SO_BINDTODEVICE, kServiceVrf, sizeof(kServiceVrf)) != 0) {
        COMM_LOG_ERR(-1, "Bind socket(ip:%s) to %s failed(%s).", ip.c_str(), kServiceVrf,
                     std::strerror(errno));
        fini();
        return -1;
    }
    return 0;
}

int tvn_smart_socket_cli::bind_src(const std::string& ip) {
    struct addrinfo hints;
    std::memset(&hints, 0, sizeof(hints));
    hints.ai_socktype = peer_ != nullptr ? peer_->ai_socktype : 0;
    hints.ai_family = peer_ != nullptr ? peer_->ai_family : AF_UNSPEC;
    struct addrinfo* src = nullptr;
    int rc = getaddrinfo(ip.c_str(), nullptr, &hints, &src);
    if (rc != 0 || src == nullptr) {
        COMM_LOG_ERR(-6, "smart socket Getaddrinfo(ip:%s) failed(%d).", ip.c_str(), rc);
        return -6;
    }
    rc = ::bind(fd_, src->ai_addr, src->ai_addrlen);
    const int err = errno;
    freeaddrinfo(src);
    if (rc != 0) {
        COMM_LOG_ERR(-5, "bind(ip:%s) failed(%s).", ip.c_str(), std::strerror(err));
        return -5;
    }
    return 0;
}

int tvn_smart_socket_cli::connect_nonblock(int timeout_ms) {
    if (fd_ < 0 || peer_ == nullptr) return -1;
    int old_flags = 0;
    if (SetSocketNonblock(fd_, old_flags) != 0) {
        COMM_LOG_ERR(-1, "Connect failed(%d), err(%s).", -1, std::strerror(errno));
        return -1;
    }
    int rc = ::connect(fd_, peer_->ai_addr, peer_->ai_addrlen);
    if (rc != 0 && errno != EINPROGRESS) {
        const int err = errno;
        COMM_LOG_ERR(-1, "Connect failed(%d), err(%s).", rc, std::strerror(err));
        (void)fcntl(fd_, F_SETFL, old_flags);
        return -1;
    }
    if (rc != 0) {
        struct pollfd pfd {fd_, static_cast<short>(POLLIN | POLLOUT), 0};
        int ready;
        while ((ready = ::poll(&pfd, 1, timeout_ms)) < 0 && errno == EINTR) {
        }
        if (ready <= 0) {
            COMM_LOG_ERR(-3, "Poll failed or timeout.");
            (void)fcntl(fd_, F_SETFL, old_flags);
            return -3;
        }
        if ((pfd.revents & (POLLIN | POLLOUT | POLLERR | POLLHUP)) == 0)
            COMM_LOG_ERR(-1, "After select, no set is ready.");
    }
    int so_error = 0;
    socklen_t len = sizeof(so_error);
    if (getsockopt(fd_, SOL_SOCKET, SO_ERROR, &so_error, &len) != 0) {
        COMM_LOG_ERR(-1, "Getsockopt failed.");
        so_error = errno;
    }
    if (fcntl(fd_, F_SETFL, old_flags) != 0) COMM_LOG_ERR(-1, "Reset socket flags failed.");
    if (so_error != 0) {
        COMM_LOG_ERR(-13, "Connect failed");
        return -13;
    }
    return 0;
}

void tvn_smart_socket_cli::fini() {
    if (fd_ >= 0) {
        ::close(fd_);
        fd_ = -1;
    }
    if (peer_ != nullptr) {
        freeaddrinfo(peer_);
        peer_ = nullptr;
    }
}
