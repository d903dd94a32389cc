#include "tvn_cm_serviceimp.h"

#include <string>

#include "platform_init.h"
#include "sa_cert.h"
#include "tvn_alarm.h"
#include "tvn_log.h"

namespace {

constexpr uint32_t kLogModule = 666;

struct done_guard {
    google::protobuf::Closure* done;
    ~done_guard() {
        if (done != nullptr) done->Run();
    }
};

}  // namespace

void tvn_cm_serviceimp::cm_send_alarm(google::protobuf::RpcController*, const tvn_alarm_req* request,
                                      tvn_alarm_rsp* response, google::protobuf::Closure* done) {
    done_guard guard{done};
    if (request == nullptr || response == nullptr) return;
    std::string text;
    for (const std::string& arg : request->args()) {
        text += arg;
        text += ",";
    }
    if (!text.empty()) text.pop_back();
    response->set_status(ALM_SendAlarm(kLogModule, request->alarm_id(), request->alarm_type(), text.c_str()));
}

void tvn_cm_serviceimp::get_cluster_info(google::protobuf::RpcController*, const tvn_get_cluster_info_req* request,
                                         tvn_get_cluster_info_rsp* response, google::protobuf::Closure* done) {
    done_guard guard{done};
    if (request == nullptr || response == nullptr) return;
    if (request->info_type() != GET_NODE_ID) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, -22, "Request type invalid.");
        response->set_result(-22);
        return;
    }
    if (node_id_.load(std::memory_order_relaxed) == NODE_ID_UNKNOWN) {
        uint32_t id = 0;
        int32_t rc = GetLocalNodeId(&id);
        if (rc != 0) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "GetLocalNodeId failed rc(%d).", rc);
            response->set_result(rc);
            return;
        }
        node_id_.store(static_cast<uint16_t>(id), std::memory_order_relaxed);
    }
    response->set_node_id(node_id_.load(std::memory_order_relaxed));
    response->set_result(0);
}

void tvn_cm_serviceimp::get_cm_state(google::protobuf::RpcController*, const tvn_get_cm_state_req*,
                                     tvn_get_cm_state_rsp* response, google::protobuf::Closure* done) {
    done_guard guard{done};
    if (response != nullptr) response->set_result(0);
}

void tvn_cm_serviceimp::set_log_level(google::protobuf::RpcController*, const tvn_cm_set_log_level_req* request,
                                      tvn_cm_set_log_level_rsq* response, google::protobuf::Closure* done) {
    done_guard guard{done};
    if (request == nullptr || response == nullptr) return;
    TvnSetLogLevel(kLogModule, TvnConvertLogLevelToInternal(request->level()));
    response->set_result(0);
    response->set_desc("success");
}

void tvn_cm_serviceimp::get_sslcert_files(google::protobuf::RpcController*,
                                          const tvn_cm_get_sslcert_files_req* request,
                                          tvn_cm_get_sslcert_files_rsp* response, google::protobuf::Closure* done) {
    done_guard guard{done};
    if (request == nullptr || response == nullptr) return;
    TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "Get cert moudle(%d).", static_cast<int>(request->module()));
    sa_cert_files files;
    int32_t rc;
    if (request->module() == TVN_LDAPS_BUSINESS) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "Get ldaps cert for nfs server.");
        rc = SA_GetLdapsCertForNfs(request->type(), request->tenant_id(), request->run_path().c_str(), &files);
    } else {
        rc = SA_GetCertFiles(request->module(), request->type(), request->tenant_id(), request->run_path().c_str(),
                             &files);
    }
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Get cert from sa failed.");
    } else {
        response->set_private_key_name(files.private_key_name);
        response->set_cert_name(files.cert_name);
        response->set_ca_cert_name(files.ca_cert_name);
        response->set_encrypt_pwd(files.encrypt_pwd);
    }
    response->set_result(rc);
}

void tvn_cm_serviceimp::del_sslcert_files(google::protobuf::RpcController*,
                                          const tvn_cm_del_sslcert_files_req* request,
                                          tvn_cm_del_sslcert_files_rsp* response, google::protobuf::Closure* done) {
    done_guard guard{done};
    if (request == nullptr || response == nullptr) return;
    int32_t rc = SA_DelCertFiles(request->module(), request->tenant_id().c_str(), request->run_path().c_str());
    if (rc != 0)
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Delete cert from sa failed(%u).", static_cast<unsigned>(rc));
    response->set_result(rc);
}

// Keys are not handed out by this service: the peers' own key-management
// clients fetch them. The methods stay for the contract.
void tvn_cm_serviceimp::get_key_by_index(google::protobuf::RpcController*, const tvn_cm_get_key_by_index_req*,
                                         tvn_cm_get_key_by_index_rsp* response, google::protobuf::Closure* done) {
    done_guard guard{done};
    if (response != nullptr) response->set_result(0);
}

void tvn_cm_serviceimp::get_latest_key(google::protobuf::RpcController*, const tvn_cm_get_latest_key_req*,
                                       tvn_cm_get_latest_key_rsp* response, google::protobuf::Closure* done) {
    done_guard guard{done};
    if (response != nullptr) response->set_result(0);
}
