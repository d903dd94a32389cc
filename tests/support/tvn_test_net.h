#pragma once
// Loopback ports for tests.
#include <string>

namespace tvn_test {

// A loopback port nobody listens on right now (the kernel's pick).
int free_port();
inline std::string tcp_endpoint(int port) { return "tcp://127.0.0.1:" + std::to_string(port); }
// Whether something accepts TCP connections on 127.0.0.1:port.
bool port_accepts(int port);

// Holds 127.0.0.1:port with a plain listening socket, so that whatever
// wants the port next finds it taken.
class taken_port {
public:
    explicit taken_port(int port);
    ~taken_port();
    taken_port(const taken_port&) = delete;
    taken_port& operator=(const taken_port&) = delete;
    bool held() const { return fd_ >= 0; }

private:
    int fd_ = -1;
};

}  // namespace tvn_test
