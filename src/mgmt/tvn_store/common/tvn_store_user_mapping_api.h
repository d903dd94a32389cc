#pragma once
// Client of the user-mapping rule store of the store daemon. Each method
// returns 0 when the call completed (the store's verdict is then in the
// reply) or the transport error.
#include <cstdint>
#include <string>

#include "talvane_store_user_mapping.pb.h"
#include "tvn_msg_rpc_api.h"

class tvn_store_user_mapping_api : public tvn_msg_rpc_api<tvn_store_user_mapping_service_Stub> {
public:
    static constexpr int32_t STORE_PORT = 6102;
    static constexpr unsigned STORE_WORKER_NUM = 3;

    explicit tvn_store_user_mapping_api(const std::string& host, bool multi_channel = false,
                                        int32_t port = STORE_PORT)
        : tvn_msg_rpc_api(host, port, multi_channel, STORE_WORKER_NUM) {}

    int32_t add_user_mapping_rule(const tvn_user_mapping_rule_add_req& req,
                                  tvn_user_mapping_rule_add_rsp& rsp, int timeout_ms) {
        return call(&tvn_store_user_mapping_service_Stub::add_user_mapping_rule, req, rsp,
                    timeout_ms);
    }
    int32_t modify_user_mapping_rule(const tvn_user_mapping_rule_modify_req& req,
                                     tvn_user_mapping_rule_common_rsp& rsp, int timeout_ms) {
        return call(&tvn_store_user_mapping_service_Stub::modify_user_mapping_rule, req, rsp,
                    timeout_ms);
    }
    int32_t delete_user_mapping_rule(const tvn_user_mapping_rule_delete_req& req,
                                     tvn_user_mapping_rule_common_rsp& rsp, int timeout_ms) {
        return call(&tvn_store_user_mapping_service_Stub::delete_user_mapping_rule, req, rsp,
                    timeout_ms);
    }
    int32_t show_user_mapping_rule(const tvn_user_mapping_rule_show_req& req,
                                   tvn_user_mapping_rule_show_rsp& rsp, int timeout_ms) {
        return call(&tvn_store_user_mapping_service_Stub::show_user_mapping_rule, req, rsp,
                    timeout_ms);
    }
    int32_t list_user_mapping_rule(const tvn_user_mapping_rule_list_req& req,
                                   tvn_user_mapping_rule_list_rsp& rsp, int timeout_ms) {
        return call(&tvn_store_user_mapping_service_Stub::list_user_mapping_rule, req, rsp,
                    timeout_ms);
    }
    int32_t count_user_mapping_rule(const tvn_user_mapping_rule_count_req& req,
                                    tvn_user_mapping_rule_count_rsp& rsp, int timeout_ms) {
        return call(&tvn_store_user_mapping_service_Stub::count_user_mapping_rule, req, rsp,
                    timeout_ms);
    }
    int32_t query_user_mapping_name(const tvn_query_user_mapping_name_req& req,
                                    tvn_query_user_mapping_name_rsp& rsp, int timeout_ms) {
        return call(&tvn_store_user_mapping_service_Stub::query_user_mapping_name, req, rsp,
                    timeout_ms);
    }
};
