#pragma once
// The module list the shell's tests run with: the real base module, a
// privilege-like module named "tvn_cm" without attributes, a probe module
// with one attribute of each type, and a tail module. What each module's
// operations do is set per test.
#include <functional>
#include <string>
#include <vector>

#include "process_shell.h"

namespace ps_test {

struct hooks {
    std::function<int32_t(const std::string& name)> init;
    std::function<int32_t(const std::string& name)> activate;
    std::function<int32_t(const std::string& name)> finish;
};
hooks& module_hooks();
// Operations called so far, as "init:probe", "activate:tail", ...
std::vector<std::string>& calls();
void reset();

extern ps_module g_twin;   // "tvn_cm"
extern ps_module g_probe;  // "probe"
extern ps_module g_tail;   // "tail"
extern char g_probe_text[16];

}  // namespace ps_test
