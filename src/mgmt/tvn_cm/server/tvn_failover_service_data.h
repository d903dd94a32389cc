#pragma once
// Cluster data behind tvn_failover_service: service IPs with their subnet,
// zone and node; nodes with id, state, zone and static IPs; the local node.
//
// Kept in /KSD/conf/tvn_cm/failover.json under the system root:
//   {
//     "local_node": "ctrl-a",                       optional
//     "nodes": [                                    optional
//       {"name": "ctrl-a",                          required, unique
//        "id": 0,                                   optional, 0..4294967294
//        "state": 1,                                optional, default 0
//        "zone": "zone-1",                          optional, default ""
//        "static_ips": [{"ip": "192.168.1.10", "subnet": "mgmt", "status": 1}]}
//     ],
//     "service_ips": [                              optional
//       {"ip": "10.10.0.5", "subnet": "data-a", "zone": "zone-1", "node": "ctrl-a"}
//     ]
//   }
// IPs are IPv4 or IPv6 and are compared in their canonical form. Members
// not named here are ignored. A file that is not valid JSON of this shape
// (or is larger than 4 MiB) counts as no data and is logged.
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <sys/types.h>
#include <vector>

struct tvn_failover_static_ip {
    std::string ip;
    std::string subnet;
    uint32_t status = 0;
};

struct tvn_failover_node {
    std::string name;
    bool has_id = false;
    uint32_t id = 0;
    uint32_t state = 0;
    std::string zone;
    std::vector<tvn_failover_static_ip> static_ips;
};

struct tvn_failover_service_ip {
    std::string ip;
    std::string subnet;
    std::string zone;
    std::string node;
};

struct tvn_failover_snapshot {
    bool loaded = false;  // false: no file, or a file that could not be used
    std::string local_node;
    std::vector<tvn_failover_node> nodes;
    std::vector<tvn_failover_service_ip> service_ips;

    const tvn_failover_node* find_node(const std::string& name) const;
};

class tvn_failover_data {
public:
    static constexpr const char* FILE_PATH = "/KSD/conf/tvn_cm/failover.json";
    static constexpr size_t MAX_FILE_SIZE = 4u << 20;

    static tvn_failover_data& instance();
    tvn_failover_data() = default;

    // Reads the file again when it changed since the last look (or was never
    // read). True when the snapshot was replaced.
    bool refresh();
    // The current data; the first call reads the file.
    std::shared_ptr<const tvn_failover_snapshot> snapshot();
    // How many times the file was read (tests).
    uint64_t loads() const;

    // Parses the file's text. 0, or -22 with the reason.
    static int32_t parse(const std::string& text, tvn_failover_snapshot& out, std::string& error);
    // Canonical text of an IPv4 or IPv6 address; false when it is neither.
    static bool canonical_ip(const std::string& text, std::string& out);

private:
    struct file_id {
        std::string path;  // the system root may change (tests)
        bool exists = false;
        dev_t dev = 0;
        ino_t ino = 0;
        off_t size = 0;
        int64_t mtime_ns = 0;
        bool operator==(const file_id&) const = default;
    };
    mutable std::mutex mutex_;
    std::shared_ptr<const tvn_failover_snapshot> current_;
    bool looked_ = false;
    file_id last_;
    uint64_t loads_ = 0;
};
