#include "tvn_fault.h"

#include <cstdlib>

namespace tvn {

bool fail_at(std::string_view name) {
    const char* list = std::getenv("TVN_FAIL_AT");
    if (list == nullptr || name.empty()) return false;
    std::string_view rest(list);
    while (!rest.empty()) {
        size_t comma = rest.find(',');
        std::string_view item = rest.substr(0, comma);
        while (!item.empty() && item.front() == ' ') item.remove_prefix(1);
        while (!item.empty() && item.back() == ' ') item.remove_suffix(1);
        if (item == name) return true;
        if (comma == std::string_view::npos) break;
        rest.remove_prefix(comma + 1);
    }
    return false;
}

}  // namespace tvn
