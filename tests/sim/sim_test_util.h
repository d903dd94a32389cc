#pragma once
// Helpers shared by the stand-in tests: a store in a temporary system root,
// and request builders with every required field set.
#include <gtest/gtest.h>

#include <string>

#include "sim_store.h"
#include "talvane_store_nfs.pb.h"
#include "tvn_sysroot.h"
#include "tvn_test_files.h"

namespace sim_test {

inline std::string db_path() { return tvn::sysroot_path("/var/lib/tvn_sim/store.db"); }

inline tvn_nfs_add_share_req add_req(const std::string& path, uint32_t tenant = 0,
                                     uint64_t fsid = 1, const std::string& comment = "") {
    tvn_nfs_add_share_req r;
    r.set_fsid(fsid);
    r.set_tenant_id(tenant);
    r.set_path(path);
    r.set_comment(comment);
    r.set_dtreeid(0);
    r.set_alias(path);
    return r;
}

// A list request as the share list command presets it: every share of the
// tenant, by identifier, from the start.
inline tvn_nfs_show_share_req show_req(uint32_t tenant = 0) {
    tvn_nfs_show_share_req r;
    r.set_fsid(UINT64_MAX);
    r.set_tenant_id(tenant);
    r.set_path("");
    r.set_sort_type(TVN_NFS_SHARE_SORT_DEFAULT);
    r.set_offset(1);
    r.set_count(0);
    r.mutable_next_share_id()->set_flag(TVN_NFS_SHARE_ID_FIELD_INVALID);
    r.mutable_next_share_id()->set_shareid(0);
    return r;
}

inline tvn_nfs_get_share_count_req count_req(uint32_t tenant = 0) {
    tvn_nfs_get_share_count_req r;
    r.set_fsid(UINT64_MAX);
    r.set_tenant_id(tenant);
    r.set_path("");
    return r;
}

inline tvn_nfs_show_auth_req show_auth_req(uint32_t tenant = 0) {
    tvn_nfs_show_auth_req r;
    r.set_tenant_id(tenant);
    r.set_path("");
    r.set_hostname("");
    r.set_sort_type(TVN_NFS_AUTH_SORT_DEFAULT);
    r.set_offset(1);
    r.set_count(0);
    r.mutable_next_auth_id()->set_flag(TVN_NFS_AUTH_ID_FIELD_INVALID);
    r.mutable_next_auth_id()->set_authid(0);
    return r;
}

inline tvn_nfs_get_auth_count_req auth_count_req(uint32_t tenant = 0, uint64_t share_id = 0) {
    tvn_nfs_get_auth_count_req r;
    r.set_tenant_id(tenant);
    r.set_share_id(share_id);
    r.set_hostname("");
    r.set_path("");
    return r;
}

// A store opened in a fresh system root, with a clock the test moves.
class store_fixture : public ::testing::Test {
protected:
    static inline int64_t now_ms = 1'000'000;
    static int64_t clock() { return now_ms; }

    void SetUp() override { ASSERT_EQ(open_store(), 0) << err_; }

    int32_t open_store(const std::string& seed_file = "", uint32_t join_ms = 1000) {
        tvn::sim::sim_store_options o;
        o.db_path = db_path();
        o.seed_file = seed_file;
        o.join_ms = join_ms;
        o.clock = &store_fixture::clock;
        store_ = std::make_unique<tvn::sim::sim_store>();
        return store_->open(o, err_);
    }
    void reopen() {
        store_.reset();
        ASSERT_EQ(open_store(), 0) << err_;
    }

    uint64_t add_share(const std::string& path, uint32_t tenant = 0, uint64_t fsid = 1,
                       const std::string& comment = "") {
        uint64_t id = 0;
        std::string desc;
        EXPECT_EQ(store_->nfs.add_share(add_req(path, tenant, fsid, comment), id, desc), 0)
            << desc;
        return id;
    }

    tvn_test::scoped_sysroot root_;
    std::string err_;
    std::unique_ptr<tvn::sim::sim_store> store_;
};

}  // namespace sim_test
