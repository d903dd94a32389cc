#pragma once
// Method identifiers of the RPC layer. Peers written against Boost compute
// boost::hash_range over the method's full name; this must agree bit for bit.
#include <cstdint>
#include <string_view>

namespace talvane_util {

constexpr uint64_t hash_string(std::string_view name) {
    constexpr uint64_t m = 0xC6A4A7935BD1E995ULL;
    uint64_t seed = 0;
    for (unsigned char b : name) {
        uint64_t k = static_cast<uint64_t>(b) * m;
        k ^= k >> 47;
        k *= m;
        seed ^= k;
        seed *= m;
        seed += 0xE6546B64ULL;
    }
    return seed;
}

// The id a request carries on the wire: the low 32 bits of the hash.
constexpr uint32_t method_id(std::string_view full_name) {
    return static_cast<uint32_t>(hash_string(full_name));
}

}  // namespace talvane_util
