#include "ps_test_topology.h"

namespace ps_test {

hooks& module_hooks() {
    static hooks h;
    return h;
}
std::vector<std::string>& calls() {
    static std::vector<std::string> c;
    return c;
}

namespace {

int32_t run(const char* op, const std::function<int32_t(const std::string&)>& hook, const char* name) {
    calls().push_back(std::string(op) + ":" + name);
    return hook ? hook(name) : 0;
}

#define TEST_MODULE_OPS(tag, name)                                                        \
    int32_t tag##_init() { return run("init", module_hooks().init, name); }               \
    int32_t tag##_finish() { return run("finish", module_hooks().finish, name); }         \
    int32_t tag##_activate(ps_module*) { return run("activate", module_hooks().activate, name); }

TEST_MODULE_OPS(twin, "tvn_cm")
TEST_MODULE_OPS(probe, "probe")
TEST_MODULE_OPS(tail, "tail")

int32_t spare() { return 0; }
int32_t spare_arg(void*) { return 0; }

}  // namespace

char g_probe_text[16];

ps_attr g_probe_attrs[] = {
    {PS_ATTR_INT, "count", ps_set_i_attr, nullptr, ps_prt_i_attr, {.i = 0}, 0},
    {PS_ATTR_BOOL, "enabled", ps_set_b_attr, nullptr, ps_prt_b_attr, {.i = 0}, 0},
    {PS_ATTR_STRING, "label", ps_set_s_attr, nullptr, ps_prt_s_attr, {.s = g_probe_text}, sizeof(g_probe_text)},
    {0, "", nullptr, nullptr, nullptr, {.i = 0}, 0},
};

ps_module g_twin = {1025, "tvn_cm", nullptr, twin_init, twin_finish, twin_activate, spare, spare_arg,
                    nullptr, nullptr, nullptr};
ps_module g_probe = {7, "probe", nullptr, probe_init, probe_finish, probe_activate, spare, spare_arg,
                     g_probe_attrs, nullptr, nullptr};
ps_module g_tail = {8, "tail", nullptr, tail_init, tail_finish, tail_activate, spare, spare_arg,
                    nullptr, nullptr, nullptr};

void reset() {
    module_hooks() = hooks{};
    calls().clear();
    for (ps_attr* row = g_probe_attrs; row->name[0] != '\0'; ++row)
        if (row->type == PS_ATTR_STRING)
            row->value.s[0] = '\0';
        else
            row->value.i = 0;
}

}  // namespace ps_test

ps_module_topo_entry ps_module_topo[] = {
    {0, &g_module_ps_base},
    {1025, &ps_test::g_twin},
    {7, &ps_test::g_probe},
    {8, &ps_test::g_tail},
    {0, nullptr},
};
