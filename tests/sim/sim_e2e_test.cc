// The real tvn_sim over TCP: identifiers, duplicates, paging through a few
// thousand shares, filters, persistence across a restart and a SIGKILL, the
// join state machine, and requests that make no sense.
#include <gtest/gtest.h>
#include <zmq.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <thread>

#include "talvane_diagnose.pb.h"
#include "talvane_kagent.pb.h"
#include "talvane_lookup.pb.h"
#include "talvane_store_conf.pb.h"
#include "talvane_store_nfs.pb.h"
#include "tvn_auth_api.h"
#include "tvn_kagent_api.h"
#include "tvn_store_conf_api.h"
#include "tvn_store_nfs_api.h"
#include "tvn_test_files.h"
#include "tvn_test_process.h"

namespace {

// Time-outs as the service's commands use them.
constexpr int kStoreMs = 30000;
constexpr int kReadMs = 10000;
constexpr int kJoinMs = 25000;

tvn_nfs_add_share_req add_req(const std::string& path, uint32_t tenant = 0, uint64_t fsid = 1,
                              const std::string& comment = "") {
    tvn_nfs_add_share_req r;
    r.set_fsid(fsid);
    r.set_tenant_id(tenant);
    r.set_path(path);
    r.set_comment(comment);
    r.set_dtreeid(0);
    r.set_alias(path);
    return r;
}

tvn_nfs_show_share_req list_req(uint32_t count) {
    tvn_nfs_show_share_req r;
    r.set_fsid(UINT64_MAX);
    r.set_tenant_id(0);
    r.set_path("");
    r.set_sort_type(TVN_NFS_SHARE_SORT_DEFAULT);
    r.set_offset(1);
    r.set_count(count);
    r.mutable_next_share_id()->set_flag(TVN_NFS_SHARE_ID_FIELD_INVALID);
    r.mutable_next_share_id()->set_shareid(0);
    return r;
}

// Paths whose order differs from the order of creation.
std::string fmt_path(int i) {
    char buf[64];
    std::snprintf(buf, sizeof(buf), "/fs%d/share_%05d", 1 + i % 3, (i * 7919) % 10007);
    return buf;
}

tvn_nfs_get_share_count_req count_req() {
    tvn_nfs_get_share_count_req r;
    r.set_fsid(UINT64_MAX);
    r.set_tenant_id(0);
    r.set_path("");
    return r;
}

class sim_e2e : public ::testing::Test {
protected:
    void SetUp() override { start(); }

    void start(std::vector<std::string> extra = {}) {
        ASSERT_TRUE(sim_.start(root_.root(), extra)) << sim_.output;
        // The service's own client wrappers, pointed at this run's ports.
        nfs_ = std::make_unique<tvn_store_nfs_api>("127.0.0.1", false, sim_.port("store daemon"));
        conf_ = std::make_unique<tvn_store_conf_api>("127.0.0.1", false, sim_.port("store daemon"));
        auth_ = std::make_unique<tvn_auth_api>("127.0.0.1", false, 1,
                                               sim_.port("authentication daemon"));
        kagent_ = std::make_unique<tvn_kagent_api>("127.0.0.1", false, 1, sim_.port("kernel agent"));
    }
    void drop_clients() {
        nfs_.reset();
        conf_.reset();
        auth_.reset();
        kagent_.reset();
    }

    uint64_t add(const std::string& path, uint32_t tenant = 0, uint64_t fsid = 1,
                 const std::string& comment = "") {
        tvn_nfs_add_share_rsp rsp;
        EXPECT_EQ(nfs_->add_share(add_req(path, tenant, fsid, comment), rsp, kStoreMs), 0);
        EXPECT_EQ(rsp.status().result(), 0) << rsp.status().desc();
        return rsp.share_id();
    }

    bool share_exists(uint64_t id, uint32_t tenant = 0) {
        tvn_nfs_get_share_req req;
        req.set_share_id(id);
        req.set_tenant_id(tenant);
        tvn_nfs_get_share_rsp rsp;
        EXPECT_EQ(nfs_->get_share(req, rsp, kStoreMs), 0);
        return rsp.status().result() == 0;
    }

    uint32_t count_all() {
        tvn_nfs_get_share_count_rsp rsp;
        EXPECT_EQ(nfs_->get_share_count(count_req(), rsp, kStoreMs), 0);
        EXPECT_EQ(rsp.status().result(), 0);
        return rsp.count();
    }

    tvn_lookup_join_state_rsp join_state(uint32_t tenant) {
        tvn_lookup_join_state_req req;
        req.set_tenant_id(tenant);
        tvn_lookup_join_state_rsp rsp;
        EXPECT_EQ(auth_->join_state(req, rsp, kReadMs), 0);
        return rsp;
    }

    tvn_test::scoped_sysroot root_;
    tvn_test::sim_process sim_;
    std::unique_ptr<tvn_store_nfs_api> nfs_;
    std::unique_ptr<tvn_store_conf_api> conf_;
    std::unique_ptr<tvn_auth_api> auth_;
    std::unique_ptr<tvn_kagent_api> kagent_;
};

TEST_F(sim_e2e, IdentifiersAndDuplicates) {
    EXPECT_EQ(add("/fs1/a"), 1u);
    EXPECT_EQ(add("/fs1/b"), 2u);

    struct {
        const char* what;
        tvn_nfs_add_share_req req;
        int32_t result;
    } cases[] = {
        {"duplicate path", add_req("/fs1/a"), -17},
        {"same path, other tenant", add_req("/fs1/a", 1, 101), 0},
        {"another tenant's file system", add_req("/fs1/b", 1, 1), -13},
        {"unknown file system", add_req("/fs9/b", 0, 9), -2},
        {"'..' component", add_req("/fs1/../b"), -22},
        {"relative path", add_req("fs1/c"), -22},
    };
    for (const auto& c : cases) {
        tvn_nfs_add_share_rsp rsp;
        ASSERT_EQ(nfs_->add_share(c.req, rsp, kStoreMs), 0) << c.what;
        EXPECT_EQ(rsp.status().result(), c.result) << c.what;
        EXPECT_FALSE(rsp.status().desc().empty()) << c.what;
        if (c.result == 0) {
            EXPECT_EQ(rsp.share_id(), 3u) << c.what;
        }
    }
    // Client permissions have identifiers of their own, and one client per share.
    tvn_nfs_create_auth_req a;
    a.set_share_id(1);
    a.set_hostname("client1");
    tvn_nfs_create_auth_rsp created;
    ASSERT_EQ(nfs_->create_auth(a, created, kStoreMs), 0);
    EXPECT_EQ(created.status().result(), 0);
    EXPECT_EQ(created.auth_id(), 1u);
    a.set_hostname("CLIENT1");
    ASSERT_EQ(nfs_->create_auth(a, created, kStoreMs), 0);
    EXPECT_EQ(created.status().result(), -17);
    EXPECT_NE(created.status().desc().find("CLIENT1"), std::string::npos);

    tvn_nfs_query_permission_byaccnessname_req q;
    q.set_host_name("client1");
    q.set_share_id(1);
    tvn_nfs_query_permission_byaccnessname_rsp found;
    ASSERT_EQ(nfs_->get_share_permissionid_by_access_name(q, found, kStoreMs), 0);
    EXPECT_EQ(found.rsp_status(), 0);
    EXPECT_EQ(found.permisson_id(), 1u);
}

TEST_F(sim_e2e, PagingThroughThousandsOfSharesMissesAndRepeatsNone) {
    constexpr int kShares = 2500;
    for (int i = 0; i < kShares; ++i)
        add(fmt_path(i), 0, static_cast<uint64_t>(1 + i % 3));
    add("/fs1/elsewhere", 1, 101);  // another tenant's share is never listed
    ASSERT_EQ(count_all(), static_cast<uint32_t>(kShares));

    struct mode {
        const char* name;
        TvnNFSListType list_type;
        TvnNfsShareSortType sort;
        bool cursor;
    } modes[] = {
        {"id, offset", TVN_NFSBYSHAREID, TVN_NFS_SHARE_SORT_ASCEND, false},
        {"id, cursor", TVN_NFSBYSHAREID, TVN_NFS_SHARE_SORT_ASCEND, true},
        {"path descending, offset", TVN_NFSBYSHAREPATH, TVN_NFS_SHARE_SORT_DESCEND, false},
        {"path, cursor", TVN_NFSBYSHAREPATH, TVN_NFS_SHARE_SORT_ASCEND, true},
    };
    for (const auto& m : modes) {
        tvn_nfs_show_share_req req = list_req(100);
        req.set_list_type(m.list_type);
        req.set_sort_type(m.sort);
        std::set<uint64_t> seen;
        std::string last_path;
        size_t listed = 0;
        for (int page = 0; page < kShares; ++page) {
            tvn_nfs_show_share_rsp rsp;
            ASSERT_EQ(nfs_->show_share(req, rsp, kStoreMs), 0) << m.name;
            ASSERT_EQ(rsp.status().result(), 0) << m.name << rsp.status().desc();
            for (const auto& s : rsp.share_info()) {
                EXPECT_TRUE(seen.insert(s.share_id()).second) << m.name << ": repeated " << s.share_id();
                if (m.list_type == TVN_NFSBYSHAREPATH && !last_path.empty()) {
                    if (m.sort == TVN_NFS_SHARE_SORT_DESCEND) {
                        EXPECT_LT(s.path(), last_path) << m.name;
                    } else {
                        EXPECT_GT(s.path(), last_path) << m.name;
                    }
                }
                last_path = s.path();
            }
            listed += static_cast<size_t>(rsp.share_info_size());
            if (rsp.share_info_size() < 100) break;
            if (m.cursor) {
                req.mutable_next_share_id()->set_flag(TVN_NFS_SHARE_ID_FIELD_VALID);
                req.mutable_next_share_id()->set_shareid(rsp.share_info(99).share_id());
            } else {
                req.set_offset(req.offset() + 100);
            }
        }
        EXPECT_EQ(listed, static_cast<size_t>(kShares)) << m.name;
        EXPECT_EQ(seen.size(), static_cast<size_t>(kShares)) << m.name << ": some share was missed";
    }
}

TEST_F(sim_e2e, FiltersSortsAndCountsAgree) {
    add("/fs1/finance", 0, 1, "money");
    add("/fs1/hr", 0, 1, "people");
    add("/fs2/finance_old", 0, 2, "old money");
    add("/fs3/eng", 0, 3, "");
    struct {
        const char* name;
        uint64_t fsid;
        const char* path;
        const char* comment;
        std::vector<std::string> by_path_desc;
    } cases[] = {
        {"all", UINT64_MAX, "", "", {"/fs3/eng", "/fs2/finance_old", "/fs1/hr", "/fs1/finance"}},
        {"fsid 1", 1, "", "", {"/fs1/hr", "/fs1/finance"}},
        {"path", UINT64_MAX, "finance", "", {"/fs2/finance_old", "/fs1/finance"}},
        {"description", UINT64_MAX, "", "money", {"/fs2/finance_old", "/fs1/finance"}},
        {"fsid and description", 2, "", "money", {"/fs2/finance_old"}},
        {"nothing", 9, "", "", {}},
    };
    for (const auto& c : cases) {
        tvn_nfs_show_share_req l = list_req(0);
        l.set_fsid(c.fsid);
        l.set_path(c.path);
        l.set_comment(c.comment);
        l.set_list_type(TVN_NFSBYSHAREPATH);
        l.set_sort_type(TVN_NFS_SHARE_SORT_DESCEND);
        tvn_nfs_show_share_rsp listed;
        ASSERT_EQ(nfs_->show_share(l, listed, kStoreMs), 0);
        std::vector<std::string> paths;
        for (const auto& s : listed.share_info()) paths.push_back(s.path());
        EXPECT_EQ(paths, c.by_path_desc) << c.name;

        tvn_nfs_get_share_count_req n = count_req();
        n.set_fsid(c.fsid);
        n.set_path(c.path);
        n.set_comment(c.comment);
        tvn_nfs_get_share_count_rsp counted;
        ASSERT_EQ(nfs_->get_share_count(n, counted, kStoreMs), 0);
        EXPECT_EQ(counted.count(), paths.size()) << c.name;
    }
}

TEST_F(sim_e2e, DataSurvivesARestart) {
    const uint64_t id = add("/fs1/kept", 0, 2, "keep me");
    tvn_settenant_cfg_req set;
    auto* p = set.add_config();
    p->set_tenant_id(0);
    p->set_key("fqdn");
    p->set_value("corp.example.com");
    tvn_conf_common_rsp done;
    ASSERT_EQ(conf_->set_tenant_config(set, done, kStoreMs), 0);
    ASSERT_EQ(done.result(), 0);

    drop_clients();
    EXPECT_EQ(sim_.stop(SIGINT), 0) << sim_.output;
    EXPECT_NE(sim_.output.find("tvn_sim: stopped"), std::string::npos) << sim_.output;
    start();
    EXPECT_NE(sim_.output.find("kept from before"), std::string::npos) << sim_.output;

    tvn_nfs_get_share_req get;
    get.set_share_id(id);
    tvn_nfs_get_share_rsp got;
    ASSERT_EQ(nfs_->get_share(get, got, kStoreMs), 0);
    ASSERT_EQ(got.status().result(), 0);
    EXPECT_EQ(got.share_info().comment(), "keep me");
    EXPECT_EQ(got.share_info().fsname(), "fs2");
    EXPECT_EQ(add("/fs1/next"), id + 1) << "identifiers go on where they stopped";

    tvn_gettenant_cfg_req q;
    q.set_tenant_id(0);
    q.add_key("fqdn");
    tvn_gettenant_cfg_rsp pairs;
    ASSERT_EQ(conf_->get_tenant_config(q, pairs, kReadMs), 0);
    ASSERT_EQ(pairs.config_size(), 1);
    EXPECT_EQ(pairs.config(0).value(), "corp.example.com");
}

TEST_F(sim_e2e, AKilledProcessLosesNoCommittedChange) {
    // One writer adds shares; another rewrites a group of 20 pairs in one
    // request, all with the same generation. SIGKILL lands among them.
    std::atomic<bool> stop{false};
    std::atomic<uint64_t> acked_shares{0};
    std::vector<uint64_t> acked_ids;
    std::atomic<int> acked_generation{-1};
    const int store_port = sim_.port("store daemon");
    std::thread shares([&] {
        tvn_store_nfs_api c("127.0.0.1", false, store_port);
        for (int i = 0; !stop; ++i) {
            tvn_nfs_add_share_rsp rsp;
            if (c.add_share(add_req("/fs1/k" + std::to_string(i)), rsp, 2000) != 0) break;
            if (rsp.status().result() != 0) break;
            acked_ids.push_back(rsp.share_id());
            ++acked_shares;
        }
    });
    std::thread pairs([&] {
        tvn_store_conf_api c("127.0.0.1", false, store_port);
        for (int gen = 0; !stop; ++gen) {
            tvn_settenant_cfg_req set;
            for (int k = 0; k < 20; ++k) {
                auto* p = set.add_config();
                p->set_tenant_id(3);
                p->set_key("k" + std::to_string(k));
                p->set_value(std::to_string(gen));
            }
            tvn_conf_common_rsp rsp;
            if (c.set_tenant_config(set, rsp, 2000) != 0 || rsp.result() != 0) break;
            acked_generation = gen;
        }
    });
    const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while ((acked_shares < 150 || acked_generation < 50) && std::chrono::steady_clock::now() < give_up)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    sim_.kill_now();
    stop = true;
    shares.join();
    pairs.join();
    ASSERT_GE(acked_shares.load(), 150u);
    ASSERT_GE(acked_generation.load(), 50);

    drop_clients();
    start();
    for (uint64_t id : acked_ids) EXPECT_TRUE(share_exists(id)) << "acknowledged share " << id << " lost";
    EXPECT_GE(count_all(), acked_ids.size());

    tvn_gettenant_cfg_req q;
    q.set_tenant_id(3);
    tvn_gettenant_cfg_rsp got;
    ASSERT_EQ(conf_->get_tenant_config(q, got, kReadMs), 0);
    ASSERT_EQ(got.config_size(), 20);
    const int generation = std::stoi(got.config(0).value());
    EXPECT_GE(generation, acked_generation.load());
    for (const auto& p : got.config())
        EXPECT_EQ(std::stoi(p.value()), generation) << "half of a change survived: " << p.key();
}

TEST_F(sim_e2e, JoinStatesMoveAndRefusalsEndNotJoined) {
    struct {
        uint32_t tenant;
        const char* account;
        const char* password;
        uint32_t final_state;
        int32_t errcode;
    } cases[] = {
        {0, "Administrator", "Admin@123", 1, 0},
        {4, "Administrator", "not-the-password", 0, -5014},
        {5, "nobody-here", "x", 0, -5014},
        {6, "alice", "Alice@123", 0, -5019},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(join_state(c.tenant).join_state(), 0u) << c.tenant;
        tvn_join_domain_req req;
        req.set_tenant_id(c.tenant);
        req.set_admin_account(c.account);
        req.set_admin_password(c.password);
        req.set_async(true);
        req.set_overwrite_same_account(false);
        tvn_join_domain_rsp rsp;
        ASSERT_EQ(auth_->join_domain(req, rsp, kJoinMs), 0);
        EXPECT_EQ(rsp.status(), 0) << "a join is accepted at once, tenant " << c.tenant;
        EXPECT_EQ(join_state(c.tenant).join_state(), 2u) << c.tenant;
    }
    // Bounded polling: each one is done after about a second.
    for (const auto& c : cases) {
        tvn_lookup_join_state_rsp s;
        const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        do {
            s = join_state(c.tenant);
            if (s.join_state() != 2) break;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        } while (std::chrono::steady_clock::now() < give_up);
        EXPECT_EQ(s.join_state(), c.final_state) << c.tenant;
        EXPECT_EQ(s.join_errcode(), c.errcode) << c.tenant;
        EXPECT_EQ(s.join_fqdn(), "corp.example.com");
    }
}

TEST_F(sim_e2e, RequestsThatMakeNoSenseLeaveItServing) {
    void* ctx = zmq_ctx_new();
    ASSERT_NE(ctx, nullptr);
    const std::string garbage[] = {
        std::string(),                                         // empty frame
        std::string("\x01\x02\x03", 3),                        // shorter than a header
        std::string("\xff\xff\xff\xff\0\0\0\0junk", 12),       // unknown method
        std::string(8, '\0') + std::string(4096, '\xee'),     // method 0, payload noise
    };
    for (const char* daemon : {"store daemon", "authentication daemon", "kernel agent"}) {
        for (const auto& frame : garbage) {
            void* req = zmq_socket(ctx, ZMQ_REQ);
            int linger = 0, timeout = 100;
            zmq_setsockopt(req, ZMQ_LINGER, &linger, sizeof(linger));
            zmq_setsockopt(req, ZMQ_RCVTIMEO, &timeout, sizeof(timeout));
            const std::string ep = "tcp://127.0.0.1:" + std::to_string(sim_.port(daemon));
            ASSERT_EQ(zmq_connect(req, ep.c_str()), 0);
            zmq_send(req, frame.data(), frame.size(), 0);
            char buf[64];
            zmq_recv(req, buf, sizeof(buf), 0);  // no answer is expected
            zmq_close(req);
        }
    }
    zmq_ctx_term(ctx);
    ASSERT_TRUE(sim_.alive()) << sim_.output;

    // Still answering, each daemon on its own port.
    tvn_nfs_common_req s;
    s.set_type(0);
    tvn_nfs_common_rsp state;
    EXPECT_EQ(nfs_->get_store_state(s, state, kReadMs), 0);
    EXPECT_EQ(state.result(), 0);
    EXPECT_EQ(join_state(0).status(), 0);
    tvn_ka_get_vendor_rsp vendor;
    EXPECT_EQ(kagent_->kagent_get_vendor(tvn_ka_get_vendor_req(), vendor, kReadMs), 0);
    EXPECT_EQ(vendor.vendor(), "Example Storage");
    // A method the stand-in does not offer is refused, not left to time out.
    tvn_tenant_cfg_mgr_req drop;
    drop.set_tenant_id(0);
    tvn_conf_common_rsp refused;
    ASSERT_EQ(conf_->DropDatabase(drop, refused, 5000), 0);
    EXPECT_EQ(refused.result(), -95);
}

TEST(sim_startup, ASeedFileReplacesTheBuiltInOne) {
    tvn_test::scoped_sysroot root;
    const std::string file = root.root() + "/seed.json";
    {
        // The printed built-in seed is the file format: edit it and feed it back.
        tvn_test::sim_process p;
        ASSERT_EQ(p.run_to_exit(root.root(), {"--print-seed"}), 0);
        auto at = p.output.find("\"fs3\"");
        ASSERT_NE(at, std::string::npos) << p.output;
        p.output.replace(at, 5, "\"scratch\"");
        FILE* f = std::fopen(file.c_str(), "w");
        ASSERT_NE(f, nullptr);
        std::fputs(p.output.c_str(), f);
        std::fclose(f);
    }
    tvn_test::sim_process sim;
    ASSERT_TRUE(sim.start(root.root(), {"--seed", file, "--daemons", "kagent"})) << sim.output;
    tvn_kagent_api kagent("127.0.0.1", false, 1, sim.port("kernel agent"));
    tvn_ka_pum_req req;
    req.set_module("fs");
    req.set_cmdstr("get_fsid_by_name");
    req.set_value("0:scratch");
    tvn_ka_pum_rsp rsp;
    ASSERT_EQ(kagent.kagent_pum(req, rsp, kReadMs), 0);
    EXPECT_EQ(rsp.result(), 0);
    EXPECT_EQ(rsp.value(), "3");
    req.set_value("0:fs3");
    ASSERT_EQ(kagent.kagent_pum(req, rsp, kReadMs), 0);
    EXPECT_EQ(rsp.result(), -2);
    EXPECT_EQ(sim.stop(), 0);

    tvn_test::sim_process bad;
    std::FILE* f = std::fopen(file.c_str(), "w");
    std::fputs("{\"file_systems\": 5}", f);
    std::fclose(f);
    EXPECT_EQ(bad.run_to_exit(root.root(), {"--seed", file}), 1);
    EXPECT_NE(bad.output.find("file_systems"), std::string::npos) << bad.output;
}

TEST(sim_startup, BadOptionsAndBusyPortsEndWithAReason) {
    tvn_test::scoped_sysroot root;
    {
        tvn_test::sim_process p;
        EXPECT_EQ(p.run_to_exit(root.root(), {"--daemons", "nfs"}), 2);
        EXPECT_NE(p.output.find("unknown daemon"), std::string::npos) << p.output;
    }
    tvn_test::sim_process first;
    ASSERT_TRUE(first.start(root.root(), {"--daemons", "kagent"})) << first.output;
    EXPECT_EQ(first.port("store daemon"), -1) << "only the kernel agent was asked for";
    const std::string busy = std::to_string(first.port("kernel agent"));
    tvn_test::sim_process second;
    tvn_test::scoped_sysroot other;
    EXPECT_EQ(second.run_to_exit(other.root(), {"--daemons", "kagent", "--kagent-port", busy}), 1);
    EXPECT_NE(second.output.find("cannot serve"), std::string::npos) << second.output;
    EXPECT_EQ(first.stop(), 0);
}

}  // namespace
