#include <nlohmann/json.hpp>

#include "sa_cert.h"
#include "service_test_util.h"
#include "tvn_cm_serviceimp.h"
#include "tvn_msg_rpc_controller.h"

namespace {

class CmServiceTest : public ServiceTest {
protected:
    std::vector<nlohmann::json> alarms() const {
        std::vector<nlohmann::json> out;
        std::istringstream in(read_text(path("/var/log/platform/alarm.jsonl")));
        for (std::string line; std::getline(in, line);) out.push_back(nlohmann::json::parse(line));
        return out;
    }
    void make_cert_set(const std::string& module_dir, uint32_t tenant, bool with_pwd = true) {
        std::string dir = path("/KSD/conf/tvn_cm/cert/" + module_dir + "/" + std::to_string(tenant));
        write_text(dir + "/server.key", "KEY-" + module_dir);
        write_text(dir + "/server.crt", "CRT-" + module_dir);
        write_text(dir + "/ca.crt", "CA-" + module_dir);
        if (with_pwd) write_text(dir + "/key.pwd", "enc:" + module_dir + "\n");
    }
    tvn_cm_serviceimp service;
    tvn_msg_rpc_controller controller;
    counting_closure done;
};

TEST_F(CmServiceTest, AlarmArgumentsAreJoinedWithCommas) {
    struct row {
        std::vector<std::string> args;
        std::string text;
    };
    const row rows[] = {
        {{}, ""}, {{"a"}, "a"}, {{"a", "b"}, "a,b"}, {{"", ""}, ","}, {{"x,", "y"}, "x,,y"}, {{"one", "", "three"}, "one,,three"},
    };
    uint64_t id = 0x1000;
    for (const row& r : rows) {
        tvn_alarm_req req;
        req.set_alarm_id(++id);
        req.set_alarm_type(104);
        for (const auto& a : r.args) req.add_args(a);
        tvn_alarm_rsp rsp;
        service.cm_send_alarm(&controller, &req, &rsp, &done);
        EXPECT_EQ(rsp.status(), 0);
    }
    auto got = alarms();
    ASSERT_EQ(got.size(), std::size(rows));
    for (size_t i = 0; i < got.size(); ++i) {
        EXPECT_EQ(got[i]["text"], rows[i].text);
        EXPECT_EQ(got[i]["module"], 666);
        EXPECT_EQ(got[i]["kind"], 104);
    }
    EXPECT_EQ(got[0]["id"], "0x1001");
    EXPECT_EQ(done.runs, static_cast<int>(std::size(rows)));
    EXPECT_FALSE(controller.Failed());

    ::setenv("TVN_FAIL_AT", "ALM_SendAlarm", 1);
    tvn_alarm_req req;
    req.set_alarm_id(1);
    req.set_alarm_type(3);
    tvn_alarm_rsp rsp;
    service.cm_send_alarm(&controller, &req, &rsp, nullptr);
    EXPECT_EQ(rsp.status(), -1);
}

TEST_F(CmServiceTest, OnlyTheNodeIdIsServedAndItIsCached) {
    ::setenv("TVN_NODE_ID", "5", 1);
    for (uint32_t type = 0; type <= 7; ++type) {
        SCOPED_TRACE(type);
        tvn_get_cluster_info_req req;
        req.set_info_type(type);
        tvn_get_cluster_info_rsp rsp;
        service.get_cluster_info(&controller, &req, &rsp, &done);
        if (type == GET_NODE_ID) {
            EXPECT_EQ(rsp.result(), 0);
            EXPECT_EQ(rsp.node_id(), 5u);
        } else {
            EXPECT_NE(rsp.result(), 0);
            EXPECT_FALSE(rsp.has_node_id());
            EXPECT_EQ(rsp.master_ip_size() + rsp.bitmap_size() + rsp.all_id_size() + rsp.business_ip_size(), 0);
        }
    }
    EXPECT_EQ(done.runs, 8);
    EXPECT_TRUE(logged("Request type invalid."));

    // Read once: the platform is not asked again.
    ::setenv("TVN_NODE_ID", "9", 1);
    tvn_get_cluster_info_req req;
    req.set_info_type(GET_NODE_ID);
    tvn_get_cluster_info_rsp rsp;
    service.get_cluster_info(&controller, &req, &rsp, nullptr);
    EXPECT_EQ(rsp.node_id(), 5u);
    EXPECT_EQ(service.cached_node_id(), 5u);
}

TEST_F(CmServiceTest, AFailedNodeIdCallIsTheResultAndIsTriedAgain) {
    ::setenv("TVN_FAIL_AT", "GetLocalNodeId", 1);
    tvn_get_cluster_info_req req;
    req.set_info_type(GET_NODE_ID);
    tvn_get_cluster_info_rsp rsp;
    service.get_cluster_info(&controller, &req, &rsp, &done);
    EXPECT_EQ(rsp.result(), -1);
    EXPECT_EQ(service.cached_node_id(), tvn_cm_serviceimp::NODE_ID_UNKNOWN);
    EXPECT_TRUE(logged("GetLocalNodeId failed rc(-1)."));

    ::unsetenv("TVN_FAIL_AT");
    ::setenv("TVN_NODE_ID", "12", 1);
    rsp.Clear();
    service.get_cluster_info(&controller, &req, &rsp, &done);
    EXPECT_EQ(rsp.result(), 0);
    EXPECT_EQ(rsp.node_id(), 12u);

    // A node id the cache could not tell from "unknown" is refused.
    tvn_cm_serviceimp fresh;
    ::setenv("TVN_NODE_ID", "65535", 1);
    rsp.Clear();
    fresh.get_cluster_info(&controller, &req, &rsp, nullptr);
    EXPECT_EQ(rsp.result(), -22);
}

TEST_F(CmServiceTest, LivenessAndKeysAnswerZeroAndNothingElse) {
    tvn_get_cm_state_req state_req;
    tvn_get_cm_state_rsp state_rsp;
    service.get_cm_state(&controller, &state_req, &state_rsp, &done);
    EXPECT_EQ(state_rsp.result(), 0);

    for (uint32_t module : {0u, 1u, 99u}) {
        tvn_cm_get_key_by_index_req req;
        req.set_module(module);
        req.set_index(UINT64_MAX);
        tvn_cm_get_key_by_index_rsp rsp;
        service.get_key_by_index(&controller, &req, &rsp, &done);
        EXPECT_EQ(rsp.result(), 0);
        EXPECT_FALSE(rsp.has_key());
        EXPECT_FALSE(rsp.has_key_len());

        tvn_cm_get_latest_key_req latest_req;
        latest_req.set_module(module);
        tvn_cm_get_latest_key_rsp latest_rsp;
        service.get_latest_key(&controller, &latest_req, &latest_rsp, &done);
        EXPECT_EQ(latest_rsp.result(), 0);
        EXPECT_FALSE(latest_rsp.has_key());
        EXPECT_FALSE(latest_rsp.has_index());
    }
    EXPECT_EQ(done.runs, 7);
}

TEST_F(CmServiceTest, LogLevelMapsToTheInternalScaleAndAlwaysSucceeds) {
    const std::pair<int32_t, int> rows[] = {{300, 2}, {400, 1}, {700, 0}, {0, 3}, {-5, 3}, {500, 3}, {INT32_MAX, 3}};
    for (auto [level, internal] : rows) {
        SCOPED_TRACE(level);
        tvn_cm_set_log_level_req req;
        req.set_level(level);
        tvn_cm_set_log_level_rsq rsp;
        service.set_log_level(&controller, &req, &rsp, &done);
        EXPECT_EQ(rsp.result(), 0);
        EXPECT_EQ(rsp.desc(), "success");
        EXPECT_EQ(TvnGetLogLevel(666), internal);
    }
    EXPECT_EQ(done.runs, static_cast<int>(std::size(rows)));
}

TEST_F(CmServiceTest, CertificateFilesAreFetchedIntoTheRunFolderAndDeleted) {
    make_cert_set("https", 3);
    tvn_cm_get_sslcert_files_req req;
    req.set_run_path("/run/peer/https");
    req.set_module(TVN_CM_HTTPS);
    req.set_type(TVN_GET_CERT_WITH_ENCRYPT);
    req.set_tenant_id(3);
    tvn_cm_get_sslcert_files_rsp rsp;
    service.get_sslcert_files(&controller, &req, &rsp, &done);
    ASSERT_EQ(rsp.result(), 0);
    EXPECT_EQ(rsp.private_key_name(), "https_3.key");
    EXPECT_EQ(rsp.cert_name(), "https_3.crt");
    EXPECT_EQ(rsp.ca_cert_name(), "https_3_ca.crt");
    EXPECT_EQ(rsp.encrypt_pwd(), "enc:https");
    EXPECT_EQ(read_text(path("/run/peer/https/https_3.key")), "KEY-https");
    EXPECT_EQ(read_text(path("/run/peer/https/https_3_ca.crt")), "CA-https");
    EXPECT_TRUE(logged("Get cert moudle(1)."));

    tvn_cm_del_sslcert_files_req del;
    del.set_module(TVN_CM_HTTPS);
    del.set_tenant_id("3");
    del.set_run_path("/run/peer/https");
    tvn_cm_del_sslcert_files_rsp del_rsp;
    service.del_sslcert_files(&controller, &del, &del_rsp, &done);
    EXPECT_EQ(del_rsp.result(), 0);
    EXPECT_NE(::access(path("/run/peer/https/https_3.key").c_str(), F_OK), 0);
    EXPECT_NE(::access(path("/run/peer/https/https_3.crt").c_str(), F_OK), 0);
    // Deleting again finds nothing to delete: still fine.
    service.del_sslcert_files(&controller, &del, &del_rsp, &done);
    EXPECT_EQ(del_rsp.result(), 0);
    EXPECT_EQ(done.runs, 3);
}

TEST_F(CmServiceTest, TheNfsServersLdapsCertificateHasItsOwnSet) {
    make_cert_set("ldaps_nfs", 0, false);
    make_cert_set("ldaps", 0);
    tvn_cm_get_sslcert_files_req req;
    req.set_run_path("/run/nfs");
    req.set_module(TVN_LDAPS_BUSINESS);
    req.set_type(TVN_GET_CERT_WITH_DECRYPT);
    tvn_cm_get_sslcert_files_rsp rsp;
    service.get_sslcert_files(&controller, &req, &rsp, nullptr);
    ASSERT_EQ(rsp.result(), 0);
    EXPECT_EQ(rsp.cert_name(), "ldaps_nfs_0.crt");
    EXPECT_EQ(rsp.encrypt_pwd(), "");
    EXPECT_EQ(read_text(path("/run/nfs/ldaps_nfs_0.crt")), "CRT-ldaps_nfs");
    EXPECT_TRUE(logged("Get cert moudle(38)."));
    EXPECT_TRUE(logged("Get ldaps cert for nfs server."));
}

TEST_F(CmServiceTest, CertificateFailuresAreTheResult) {
    struct row {
        uint32_t module;
        std::string run_path;
        uint32_t tenant;
        int32_t result;
    };
    make_cert_set("ftps", 1);
    const row rows[] = {
        {TVN_CM_FTPS, "/run/x", 2, SA_CERT_NOT_FOUND},   // no set for that tenant
        {TVN_CM_LDAPS, "/run/x", 1, SA_CERT_NOT_FOUND},  // no set for that module
        {TVN_CM_NOTHING, "/run/x", 1, SA_CERT_BAD_ARG},
        {TVN_CM_FTPS, "relative/x", 1, SA_CERT_BAD_ARG},
        {TVN_CM_FTPS, "/run/../../etc", 1, SA_CERT_BAD_ARG},
        {TVN_CM_FTPS, "", 1, SA_CERT_BAD_ARG},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.run_path);
        tvn_cm_get_sslcert_files_req req;
        req.set_run_path(r.run_path);
        req.set_module(static_cast<tvn_cm_cert_module>(r.module));
        req.set_type(TVN_GET_CERT_WITH_ENCRYPT);
        req.set_tenant_id(r.tenant);
        tvn_cm_get_sslcert_files_rsp rsp;
        service.get_sslcert_files(&controller, &req, &rsp, nullptr);
        EXPECT_EQ(rsp.result(), r.result);
        EXPECT_FALSE(rsp.has_cert_name());
    }
    EXPECT_TRUE(logged("Get cert from sa failed."));

    ::setenv("TVN_FAIL_AT", "SA_GetCertFiles", 1);
    tvn_cm_get_sslcert_files_req req;
    req.set_run_path("/run/x");
    req.set_module(TVN_CM_FTPS);
    req.set_type(TVN_GET_CERT_WITH_ENCRYPT);
    req.set_tenant_id(1);
    tvn_cm_get_sslcert_files_rsp rsp;
    service.get_sslcert_files(&controller, &req, &rsp, nullptr);
    EXPECT_EQ(rsp.result(), -1);
    ::unsetenv("TVN_FAIL_AT");

    for (const char* tenant : {"abc", "", "-1", "99999999999"}) {
        tvn_cm_del_sslcert_files_req del;
        del.set_module(TVN_CM_FTPS);
        del.set_tenant_id(tenant);
        del.set_run_path("/run/x");
        tvn_cm_del_sslcert_files_rsp del_rsp;
        service.del_sslcert_files(&controller, &del, &del_rsp, nullptr);
        EXPECT_EQ(del_rsp.result(), -22) << tenant;
    }
    EXPECT_TRUE(logged("Delete cert from sa failed(4294967274)."));
}

}  // namespace
