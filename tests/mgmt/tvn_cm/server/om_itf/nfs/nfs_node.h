#pragma once
// The NFS commands' end-to-end tests: their operation codes, the shared
// local node, tvn_om runs and direct access to the store for setting up and
// checking what it holds.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "nfs/tvn_omitf_nfs_vocab.h"
#include "talvane_store_nfs.pb.h"
#include "tvn_store_nfs_api.h"
#include "tvn_test_node.h"

namespace nfs_test {

using namespace std::chrono_literals;
using tvn_test::eventually;
using tvn_test::node_options;
using tvn_test::tool_run;
using nfs_node = tvn_test::node;
using om_answer = tvn_test::om_reply;
using request = tvn_test::om_request;

inline constexpr int kRpcTimeoutMs = tvn_test::kNodeRpcTimeoutMs;

// Operation codes, as the NFS family declares them.
namespace vocab = tvn_nfs::vocab;
inline constexpr uint64_t kShareCreate = vocab::share_create.code, kShareDelete = vocab::share_delete.code,
                          kShareGet = vocab::share_get.code, kShareModify = vocab::share_modify.code,
                          kShareList = vocab::share_list.code, kShareCount = vocab::share_count.code;
inline constexpr uint64_t kAuthCreate = vocab::client_create.code, kAuthDelete = vocab::client_delete.code,
                          kAuthGet = vocab::client_get.code, kAuthModify = vocab::client_modify.code,
                          kAuthList = vocab::client_list.code, kAuthCount = vocab::client_count.code;
// The second code of each share command.
inline constexpr uint64_t kShareCreate2 = vocab::share_create.second_code,
                          kShareDelete2 = vocab::share_delete.second_code,
                          kShareGet2 = vocab::share_get.second_code, kShareModify2 = vocab::share_modify.second_code,
                          kShareList2 = vocab::share_list.second_code, kShareCount2 = vocab::share_count.second_code;

// Runs tvn_om with the given arguments; its exit status and output.
inline tool_run run_tvn_om(const std::string& /*root*/, const std::vector<std::string>& args) {
    return tvn_test::run_tool("tvn_om", args);
}

// Direct access to the store for setting up and checking what it holds.
class store {
public:
    store() : api_("127.0.0.1", false) {}

    uint64_t add_share(const std::string& path, uint64_t fsid = 1, uint32_t tenant = 0) {
        tvn_nfs_add_share_req req;
        tvn_nfs_add_share_rsp rsp;
        req.set_fsid(fsid);
        req.set_tenant_id(tenant);
        req.set_path(path);
        req.set_alias(path);
        req.set_comment("");
        req.set_dtreeid(0);
        if (api_.add_share(req, rsp, 10000) != 0 || rsp.status().result() != 0) return 0;
        return rsp.share_id();
    }
    std::optional<mul_vstore_nfs_share> share(uint64_t id, uint32_t tenant = 0) {
        tvn_nfs_get_share_req req;
        tvn_nfs_get_share_rsp rsp;
        req.set_share_id(id);
        req.set_tenant_id(tenant);
        if (api_.get_share(req, rsp, 10000) != 0 || rsp.status().result() != 0) return std::nullopt;
        return rsp.share_info();
    }
    std::optional<mul_vstore_nfs_share_permission> auth(uint64_t id, uint32_t tenant = 0) {
        tvn_nfs_get_auth_req req;
        tvn_nfs_get_auth_rsp rsp;
        req.set_auth_id(id);
        req.set_tenant_id(tenant);
        if (api_.get_auth(req, rsp, 10000) != 0 || rsp.status().result() != 0) return std::nullopt;
        return rsp.auth_info();
    }
    uint32_t share_count(uint32_t tenant = 0) {
        tvn_nfs_get_share_count_req req;
        tvn_nfs_get_share_count_rsp rsp;
        req.set_fsid(~0ULL);
        req.set_tenant_id(tenant);
        req.set_path("");
        if (api_.get_share_count(req, rsp, 10000) != 0) return ~0u;
        return rsp.count();
    }

private:
    tvn_store_nfs_api api_;
};

}  // namespace nfs_test
