#pragma once
// Fault injection for the platform stand-ins: $TVN_FAIL_AT holds a
// comma-separated list of stand-in names; each named stand-in fails.
#include <string_view>

namespace tvn {
// True when $TVN_FAIL_AT names this stand-in (read on every call, so tests
// can change it between starts).
bool fail_at(std::string_view stand_in_name);
}  // namespace tvn
