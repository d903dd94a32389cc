#pragma once
// Module records of the process shell. The layout is shared by the shell,
// the platform libraries that ship a module of their own (the node-management
// agent) and the service: all three build against this header.
#include <cstdint>

struct ps_module;
struct ps_attr;

using ps_attr_set_fn = int32_t (*)(ps_attr* row, const char* value);
using ps_attr_print_fn = void (*)(const ps_attr* row);

enum ps_attr_type : uint32_t {
    PS_ATTR_INT = 1,
    PS_ATTR_BOOL = 2,
    PS_ATTR_STRING = 3,
};

// One row of a module's attribute table; a row with an empty name ends it.
struct ps_attr {
    uint32_t type;
    const char* name;
    ps_attr_set_fn set;
    void* reserved;
    ps_attr_print_fn print;
    union {
        int64_t i;  // integer and boolean rows
        char* s;    // string rows: a buffer owned by the module
    } value;
    uint32_t size;  // string rows: capacity of the buffer in bytes
};

struct ps_module {
    uint32_t id;
    const char* name;
    void* reserved;
    int32_t (*init)();
    int32_t (*finish)();
    int32_t (*activate)(ps_module* self);
    // Present in every module of this program, never called by the shell.
    int32_t (*spare_op)();
    int32_t (*spare_op_arg)(void* arg);
    ps_attr* attrs;
    ps_module* prev;  // filled in by the shell before init and activate
    ps_module* next;
};

// One entry of the program's module list; a null module ends it.
struct ps_module_topo_entry {
    uint32_t tag;
    ps_module* module;
};

// Defined by the program: the modules in init and activate order.
extern ps_module_topo_entry ps_module_topo[];
