// Attribute file and attribute tables of the process shell.
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "process_shell.h"

namespace {

constexpr size_t kLineSize = 320;  // longer lines arrive in pieces of 319
constexpr size_t kNameMax = 64;
constexpr size_t kValueMax = 256;

bool is_space(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

void trim(char* s) {
    char* start = s;
    while (*start != '\0' && is_space(*start)) ++start;
    size_t len = std::strlen(start);
    while (len > 0 && is_space(start[len - 1])) --len;
    std::memmove(s, start, len);
    s[len] = '\0';
}

// Splits "name<sep>value" by the first of the three accepted forms; false
// when none matches.
bool split_item(const char* line, char (&name)[kNameMax + 1], char (&value)[kValueMax + 1]) {
    name[0] = value[0] = '\0';
    if (std::sscanf(line, "%64[^=]%*c\"%256[^\"]\"", name, value) == 2) return true;
    name[0] = value[0] = '\0';
    if (std::sscanf(line, "%64[^=]%*c'%256[^']'", name, value) == 2) return true;
    name[0] = value[0] = '\0';
    return std::sscanf(line, "%64[^=]%*c%256[^;#]", name, value) == 2;
}

void parse_line(char* line, ps_module*& current) {
    char* p = line;
    while (*p != '\0' && is_space(*p)) ++p;
    if (*p == '\0' || *p == ';' || *p == '#') return;

    if (*p == '[') {
        char name[kNameMax + 1] = {0};
        if (std::sscanf(p, "[%64[^]]", name) != 1) name[0] = '\0';
        trim(name);
        current = process_get_module_by_name(name);
        PS_LOG(7, "PS attr module=%s", name);
        return;
    }
    if (current == nullptr) {
        PS_LOG(7, "PS ignore line because of module=NULL: %s", p);
        return;
    }
    char name[kNameMax + 1];
    char value[kValueMax + 1];
    if (!split_item(p, name, value)) return;
    trim(name);
    trim(value);
    PS_LOG(7, "PS attr module=%s, name=%s, value=%s", current->name != nullptr ? current->name : "",
           name, value);
    ps_attr* row = ps_attrs_get(current, name);
    if (row != nullptr && row->set != nullptr) (void)row->set(row, value);
}

bool row_ends_table(const ps_attr* row) { return row->name == nullptr || row->name[0] == '\0'; }

}  // namespace

int32_t ps_attrs_parse(const char* path) {
    if (path == nullptr || *path == '\0') {
        PS_LOG(6, "PS There is no config file specified");
        return 0;
    }
    char real[PATH_MAX];
    FILE* f = nullptr;
    if (::realpath(path, real) == nullptr)
        PS_LOG(3, "PS Get realpath failed (%s).", path);
    else
        f = std::fopen(real, "re");
    if (f == nullptr) {
        PS_LOG(3, "PS fopen failed (%s).", path);
        return 1;
    }
    ps_module* current = nullptr;
    char line[kLineSize];
    while (std::fgets(line, sizeof(line), f) != nullptr) parse_line(line, current);
    std::fclose(f);
    return 0;
}

ps_attr* ps_attrs_get(const ps_module* module, const char* name) {
    if (module == nullptr || name == nullptr || module->attrs == nullptr) return nullptr;
    for (ps_attr* row = module->attrs; !row_ends_table(row); ++row)
        if (std::strcmp(row->name, name) == 0) return row;
    return nullptr;
}

int32_t ps_set_i_attr(ps_attr* row, const char* value) {
    if (row == nullptr || value == nullptr) return -22;
    row->value.i = std::strtoll(value, nullptr, 10);
    return 0;
}

int32_t ps_set_b_attr(ps_attr* row, const char* value) {
    if (row == nullptr || value == nullptr) return -22;
    row->value.i = std::strtol(value, nullptr, 10);
    return 0;
}

int32_t ps_set_s_attr(ps_attr* row, const char* value) {
    if (row == nullptr || value == nullptr || row->value.s == nullptr || row->size == 0) return -22;
    size_t len = std::strlen(value);
    if (len >= row->size) {
        // A bounded copy that does not fit leaves the buffer empty rather
        // than holding a cut value nobody asked for.
        row->value.s[0] = '\0';
        PS_LOG(6, "PS Ps_set_s_attr failed value = %s, ret = %d.", value, ERANGE);
        return ERANGE;
    }
    std::memcpy(row->value.s, value, len + 1);
    return 0;
}

namespace {
bool type_matches(const ps_attr* row, uint32_t want) {
    if (row->type == want) return true;
    PS_LOG(3, "PS Unmathed entry type %d != %d", static_cast<int>(row->type), static_cast<int>(want));
    return false;
}
}  // namespace

int64_t ps_get_i_attr(const ps_attr* row) {
    if (row == nullptr) return 0;
    (void)type_matches(row, PS_ATTR_INT);
    return row->value.i;
}

bool ps_get_b_attr(const ps_attr* row) {
    if (row == nullptr) return false;
    (void)type_matches(row, PS_ATTR_BOOL);
    return row->value.i != 0;
}

const char* ps_get_s_attr(const ps_attr* row) {
    if (row == nullptr) return "";
    // A number read as a pointer would crash the caller; the mismatch is
    // logged and an empty text returned instead.
    if (!type_matches(row, PS_ATTR_STRING) || row->value.s == nullptr) return "";
    return row->value.s;
}

// The dump hook is kept for the platform's diagnostics; this program prints
// nothing at start-up.
void ps_prt_i_attr(const ps_attr*) {}
void ps_prt_b_attr(const ps_attr*) {}
void ps_prt_s_attr(const ps_attr*) {}

void ps_attrs_dump(const ps_module* module) {
    if (module == nullptr || module->attrs == nullptr) return;
    for (const ps_attr* row = module->attrs; !row_ends_table(row) && row->print != nullptr; ++row)
        row->print(row);
}
