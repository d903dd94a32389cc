#pragma once
// State shared by the shell's own sources.
#include <cstdint>
#include <string>

namespace ps_internal {

constexpr uint32_t SEEN_LSID = 1;
constexpr uint32_t SEEN_VERSION = 2;
constexpr uint32_t SEEN_FILE = 4;
constexpr uint32_t SEEN_START_TYPE = 8;

struct params {
    uint64_t lsid = 0;
    uint64_t version = 0;
    std::string file;
    std::string start_type;
    uint32_t seen = 0;
};
params& cmd_params();

// Base module.
const uint32_t* signal_list(uint32_t& count);
bool signal_switch_on();
void free_signal_list();

// Puts every piece of shell state back to how a fresh process finds it, so
// one test process can run the shell many times.
void reset_all();
void reset_params();
void reset_base();
void reset_state();

}  // namespace ps_internal

// For tests: the state a fresh process starts with.
inline void ps_reset_for_test() { ps_internal::reset_all(); }
