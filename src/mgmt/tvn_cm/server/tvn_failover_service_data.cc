#include "tvn_failover_service_data.h"

#include <cerrno>
#include <cstdio>

#include <arpa/inet.h>
#include <sys/stat.h>

#include <nlohmann/json.hpp>

#include "tvn_log.h"
#include "tvn_sysroot.h"

using json = nlohmann::json;

const tvn_failover_node* tvn_failover_snapshot::find_node(const std::string& name) const {
    for (const auto& n : nodes)
        if (n.name == name) return &n;
    return nullptr;
}

tvn_failover_data& tvn_failover_data::instance() {
    static tvn_failover_data* data = new tvn_failover_data();
    return *data;
}

bool tvn_failover_data::canonical_ip(const std::string& text, std::string& out) {
    unsigned char buf[sizeof(struct in6_addr)];
    char str[INET6_ADDRSTRLEN];
    if (inet_pton(AF_INET, text.c_str(), buf) == 1) {
        out = inet_ntop(AF_INET, buf, str, sizeof(str));
        return true;
    }
    if (inet_pton(AF_INET6, text.c_str(), buf) == 1) {
        out = inet_ntop(AF_INET6, buf, str, sizeof(str));
        return true;
    }
    return false;
}

namespace {

// Small helpers that turn a wrong type into a reason rather than an exception.
bool get_string(const json& obj, const char* key, bool required, std::string& out, std::string& error) {
    auto it = obj.find(key);
    if (it == obj.end()) {
        if (required) error = std::string("missing \"") + key + "\"";
        return !required;
    }
    if (!it->is_string()) {
        error = std::string("\"") + key + "\" is not a string";
        return false;
    }
    out = it->get<std::string>();
    return true;
}

bool get_u32(const json& obj, const char* key, uint32_t max, bool& present, uint32_t& out, std::string& error) {
    present = false;
    auto it = obj.find(key);
    if (it == obj.end()) return true;
    if (!it->is_number_unsigned() || it->get<uint64_t>() > max) {
        error = std::string("\"") + key + "\" is not a number from 0 to " + std::to_string(max);
        return false;
    }
    out = static_cast<uint32_t>(it->get<uint64_t>());
    present = true;
    return true;
}

bool get_ip(const json& obj, std::string& out, std::string& error) {
    std::string text;
    if (!get_string(obj, "ip", true, text, error)) return false;
    if (!tvn_failover_data::canonical_ip(text, out)) {
        error = "\"" + text + "\" is not an IP address";
        return false;
    }
    return true;
}

const json* get_array(const json& obj, const char* key, std::string& error) {
    static const json empty = json::array();
    auto it = obj.find(key);
    if (it == obj.end()) return &empty;
    if (!it->is_array()) {
        error = std::string("\"") + key + "\" is not an array";
        return nullptr;
    }
    return &*it;
}

}  // namespace

int32_t tvn_failover_data::parse(const std::string& text, tvn_failover_snapshot& out, std::string& error) {
    json doc = json::parse(text, nullptr, false);
    if (doc.is_discarded()) {
        error = "not valid JSON";
        return -22;
    }
    if (!doc.is_object()) {
        error = "not a JSON object";
        return -22;
    }
    tvn_failover_snapshot snap;
    if (!get_string(doc, "local_node", false, snap.local_node, error)) return -22;

    const json* nodes = get_array(doc, "nodes", error);
    if (nodes == nullptr) return -22;
    for (const json& n : *nodes) {
        if (!n.is_object()) {
            error = "a node is not an object";
            return -22;
        }
        tvn_failover_node node;
        bool present = false;
        if (!get_string(n, "name", true, node.name, error) || !get_u32(n, "id", 4294967294u, node.has_id, node.id, error) ||
            !get_u32(n, "state", UINT32_MAX, present, node.state, error) || !get_string(n, "zone", false, node.zone, error))
            return -22;
        if (node.name.empty() || snap.find_node(node.name) != nullptr) {
            error = "node name \"" + node.name + "\" is empty or repeated";
            return -22;
        }
        const json* ips = get_array(n, "static_ips", error);
        if (ips == nullptr) return -22;
        for (const json& s : *ips) {
            tvn_failover_static_ip ip;
            if (!s.is_object() || !get_ip(s, ip.ip, error) || !get_string(s, "subnet", true, ip.subnet, error) ||
                !get_u32(s, "status", UINT32_MAX, present, ip.status, error)) {
                if (error.empty()) error = "a static IP is not an object";
                return -22;
            }
            node.static_ips.push_back(std::move(ip));
        }
        snap.nodes.push_back(std::move(node));
    }

    const json* service_ips = get_array(doc, "service_ips", error);
    if (service_ips == nullptr) return -22;
    for (const json& s : *service_ips) {
        tvn_failover_service_ip ip;
        if (!s.is_object() || !get_ip(s, ip.ip, error) || !get_string(s, "subnet", false, ip.subnet, error) ||
            !get_string(s, "zone", false, ip.zone, error) || !get_string(s, "node", false, ip.node, error)) {
            if (error.empty()) error = "a service IP is not an object";
            return -22;
        }
        snap.service_ips.push_back(std::move(ip));
    }
    snap.loaded = true;
    out = std::move(snap);
    return 0;
}

bool tvn_failover_data::refresh() {
    std::string path = tvn::sysroot_path(FILE_PATH);
    file_id id;
    id.path = path;
    struct stat st {};
    if (::stat(path.c_str(), &st) == 0) {
        id.exists = true;
        id.dev = st.st_dev;
        id.ino = st.st_ino;
        id.size = st.st_size;
        id.mtime_ns = static_cast<int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
    }
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (looked_ && id == last_) return false;
    }

    auto snap = std::make_shared<tvn_failover_snapshot>();
    if (id.exists) {
        std::string text, error;
        int32_t rc = 0;
        if (!S_ISREG(st.st_mode) || static_cast<size_t>(st.st_size) > MAX_FILE_SIZE) {
            error = "not a regular file of at most 4 MiB";
            rc = -22;
        } else if (FILE* f = std::fopen(path.c_str(), "rbe")) {
            char buf[8192];
            size_t n;
            while ((n = std::fread(buf, 1, sizeof(buf), f)) > 0 && text.size() <= MAX_FILE_SIZE) text.append(buf, n);
            std::fclose(f);
            rc = parse(text, *snap, error);
        } else {
            error = "cannot be read";
            rc = -errno;
        }
        if (rc != 0) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Failover data file (%s) is not usable: %s.", path.c_str(),
                    error.c_str());
            *snap = tvn_failover_snapshot{};
        }
    }
    std::lock_guard<std::mutex> lock(mutex_);
    looked_ = true;
    last_ = id;
    current_ = std::move(snap);
    ++loads_;
    return true;
}

std::shared_ptr<const tvn_failover_snapshot> tvn_failover_data::snapshot() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (looked_) return current_;
    }
    (void)refresh();
    std::lock_guard<std::mutex> lock(mutex_);
    return current_;
}

uint64_t tvn_failover_data::loads() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return loads_;
}
