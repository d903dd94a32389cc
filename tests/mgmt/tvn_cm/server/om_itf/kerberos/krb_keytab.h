#pragma once
// Writes MIT keytab files (version 0x502) for the Kerberos tests.
#include <cstdint>
#include <string>
#include <vector>

namespace krb_test {

struct keytab_key {
    std::vector<std::string> components;  // {"nfs", "host.example"}
    std::string realm;
    uint32_t kvno32 = 0;  // 0: no 32-bit key version after the key
};

inline void put16(std::string& o, uint32_t v) {
    o += static_cast<char>((v >> 8) & 0xFF);
    o += static_cast<char>(v & 0xFF);
}
inline void put32(std::string& o, uint32_t v) {
    put16(o, v >> 16);
    put16(o, v & 0xFFFF);
}
inline void counted(std::string& o, const std::string& s) {
    put16(o, static_cast<uint32_t>(s.size()));
    o += s;
}

// One entry's bytes (without its size).
inline std::string keytab_entry_bytes(const keytab_key& k) {
    std::string e;
    put16(e, static_cast<uint32_t>(k.components.size()));
    counted(e, k.realm);
    for (const auto& c : k.components) counted(e, c);
    put32(e, 1);           // principal name type
    put32(e, 1700000000);  // time stamp
    e += static_cast<char>(3);
    put16(e, 18);  // aes256-cts-hmac-sha1-96
    counted(e, std::string(32, 'k'));
    if (k.kvno32 != 0) put32(e, k.kvno32);
    return e;
}

inline std::string keytab_bytes(const std::vector<keytab_key>& keys) {
    std::string out("\x05\x02", 2);
    for (const auto& k : keys) {
        std::string e = keytab_entry_bytes(k);
        put32(out, static_cast<uint32_t>(e.size()));
        out += e;
    }
    return out;
}

}  // namespace krb_test
