#include "platform_init.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

#include <fmt/format.h>

#include "dpax.h"
#include "dplog.h"
#include "tvn_fault.h"
#include "tvn_sysroot.h"

namespace {

constexpr uint32_t kPlatformLogModule = 0;

std::mutex g_journal_mutex;
std::vector<std::string> g_journal;

std::atomic<uint32_t> g_proc_id{0};
std::atomic<bool> g_support_nas{false};

std::string_view trim(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t' || s.front() == '\r')) s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r')) s.remove_suffix(1);
    return s;
}

}  // namespace

namespace tvn {

int32_t platform_call(const char* name) {
    int32_t rc = fail_at(name) ? -1 : 0;
    {
        std::lock_guard<std::mutex> lock(g_journal_mutex);
        g_journal.push_back(fmt::format("{}={}", name, rc));
    }
    dplog_rc(kPlatformLogModule, 7, rc, "Stand-in %s returns %d.", name, rc);
    return rc;
}

std::vector<std::string> platform_journal() {
    std::lock_guard<std::mutex> lock(g_journal_mutex);
    return g_journal;
}

void platform_journal_clear() {
    std::lock_guard<std::mutex> lock(g_journal_mutex);
    g_journal.clear();
}

}  // namespace tvn

int32_t osax_init() { return tvn::platform_call("osax_init"); }
int32_t dp_mm_pool_init() { return tvn::platform_call("dp_mm_pool_init"); }
int32_t dp_shm_pool_init() { return tvn::platform_call("dp_shm_pool_init"); }
int32_t IOD_Init() { return tvn::platform_call("IOD_Init"); }

int32_t dra_proc_id_set(uint32_t proc_id) {
    int32_t rc = tvn::platform_call("dra_proc_id_set");
    if (rc == 0) g_proc_id.store(proc_id);
    return rc;
}
uint32_t dra_proc_id_get() { return g_proc_id.load(); }

int32_t NET_initUcLinkModule(uint32_t /*flag*/) { return tvn::platform_call("NET_initUcLinkModule"); }

int32_t DBG_DiagnoseAgentInit(uint32_t /*proc_id*/, const char* name) {
    if (name == nullptr || *name == '\0') return -22;
    return tvn::platform_call("DBG_DiagnoseAgentInit");
}

int32_t TvnCloseDpucDataPipe() { return tvn::platform_call("TvnCloseDpucDataPipe"); }
int32_t Tvn_Cm_Netlink_StartService() { return tvn::platform_call("Tvn_Cm_Netlink_StartService"); }
int32_t TvnInitKMCAClient() { return tvn::platform_call("TvnInitKMCAClient"); }
int32_t tvnRegNasTracePoint() { return tvn::platform_call("tvnRegNasTracePoint"); }

int32_t EA_GenerateProductIni(const char* rule_path, uint32_t /*flag*/) {
    if (rule_path == nullptr || *rule_path == '\0') return -22;
    if (int32_t rc = tvn::platform_call("EA_GenerateProductIni"); rc != 0) return rc;
    std::string rule(rule_path);
    auto slash = rule.rfind('/');
    std::string product = (slash == std::string::npos ? std::string() : rule.substr(0, slash + 1)) + "product.ini";

    // Items in file order: the built-in default first, then the rule file's.
    struct item {
        std::string section, key, value;
    };
    std::vector<item> items{{"GLOBAL", "IsSupportNas", "1"}};
    if (FILE* f = std::fopen(tvn::sysroot_path(rule).c_str(), "re")) {
        char* buf = nullptr;
        size_t cap = 0;
        ssize_t n;
        std::string section;
        while ((n = ::getline(&buf, &cap, f)) >= 0) {
            std::string_view line = trim(std::string_view(buf, static_cast<size_t>(n)));
            while (!line.empty() && line.back() == '\n') line = trim(line.substr(0, line.size() - 1));
            if (line.empty() || line.front() == ';' || line.front() == '#') continue;
            if (line.front() == '[') {
                size_t close = line.find(']');
                section = close == std::string_view::npos ? std::string() : std::string(trim(line.substr(1, close - 1)));
                continue;
            }
            size_t eq = line.find('=');
            if (section.empty() || eq == std::string_view::npos) continue;
            std::string key(trim(line.substr(0, eq)));
            std::string value(trim(line.substr(eq + 1)));
            if (key.empty() || value.find_first_of("\r\n") != std::string::npos) continue;
            // A later rule for the same item replaces the default.
            bool replaced = false;
            for (auto& it : items)
                if (it.section == section && it.key == key) it.value = value, replaced = true;
            if (!replaced) items.push_back({section, key, value});
        }
        std::free(buf);
        std::fclose(f);
    }
    for (const auto& it : items) {
        char existing[512];
        int32_t rc = dpax_ini_read_item(product.c_str(), it.section.c_str(), it.key.c_str(), existing,
                                        sizeof(existing));
        if (rc == 0 || rc == -34) continue;  // the product's own value wins
        rc = dpax_ini_write_item(product.c_str(), it.section.c_str(), it.key.c_str(), it.value.c_str());
        if (rc != 0) return rc;
    }
    return 0;
}

int32_t CST_GetItemFromFile(const char* path, const char* section, const char* key, char* value,
                            uint32_t size) {
    if (tvn::platform_call("CST_GetItemFromFile") != 0) return 0;
    return dpax_ini_read_item(path, section, key, value, size) == 0 ? 1 : 0;
}

int32_t GetLocalNodeId(uint32_t* node_id) {
    if (node_id == nullptr) return -22;
    if (int32_t rc = tvn::platform_call("GetLocalNodeId"); rc != 0) return rc;
    const char* text = std::getenv("TVN_NODE_ID");
    if (text == nullptr || *text == '\0') {
        *node_id = 0;
        return 0;
    }
    char* end = nullptr;
    errno = 0;
    unsigned long v = std::strtoul(text, &end, 10);
    // 65535 is the "unknown" value of the callers' caches; it is no node.
    if (errno != 0 || end == text || *end != '\0' || *text == '-' || *text == '+' || v >= 65535) return -22;
    *node_id = static_cast<uint32_t>(v);
    return 0;
}

void NasSetSupportNasFlag(bool supported) { g_support_nas.store(supported); }
bool NasGetSupportNasFlag() { return g_support_nas.load(); }

int32_t TvnCmFmInit() { return tvn::platform_call("TvnCmFmInit"); }

bool TvnCmFmIsSupport(const char* feature) {
    if (feature == nullptr || *feature == '\0') return false;
    char value[64];
    if (dpax_ini_read_item(TVN_CM_PRODUCT_INI, "FEATURE", feature, value, sizeof(value)) != 0) return false;
    char* end = nullptr;
    errno = 0;
    long long v = std::strtoll(value, &end, 0);
    return errno == 0 && end != value && *end == '\0' && v != 0;
}
