#pragma once
// Plain TCP or UDP client socket for reachability tests of outside servers:
// name resolution, optional routing-domain device binding, optional source
// address and a connect with time-out.
#include <netdb.h>

#include <string>

class tvn_smart_socket_cli {
public:
    static constexpr int TYPE_STREAM = 1;
    static constexpr int TYPE_DGRAM = 2;

    tvn_smart_socket_cli() = default;
    ~tvn_smart_socket_cli();
    tvn_smart_socket_cli(const tvn_smart_socket_cli&) = delete;
    tvn_smart_socket_cli& operator=(const tvn_smart_socket_cli&) = delete;

    // 0, or -22 for a type other than 1/2, -1 when the name does not resolve
    // or the socket cannot be made or bound to the service routing domain
    // ("vrf-srv"; skipped when skip_vrf).
    int init(const std::string& ip, unsigned short port, int type, bool skip_vrf);
    // 0; -6 when ip does not resolve; -5 when bind fails.
    int bind_src(const std::string& ip);
    // 0; -1 immediate failure; -3 nothing within timeout_ms; -13 refused or
    // otherwise failed.
    int connect_nonblock(int timeout_ms);
    int get_socket() const { return fd_; }
    void fini();

private:
    int fd_ = -1;
    struct addrinfo* peer_ = nullptr;
};
