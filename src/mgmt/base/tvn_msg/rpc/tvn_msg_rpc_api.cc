#include "tvn_msg_rpc_api.h"

#include <utility>

tvn_msg_rpc_api_base::tvn_msg_rpc_api_base(std::string host, int32_t port, bool multi_channel,
                                           unsigned worker_num)
    : host_(std::move(host)), port_(port), multi_channel_(multi_channel), worker_num_(worker_num) {}

tvn_msg_rpc_api_base::~tvn_msg_rpc_api_base() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (client_) client_->close();
    client_.reset();
}

int32_t tvn_msg_rpc_api_base::open_client() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (open_) return 0;
    ++open_count_;
    std::unique_ptr<tvn_msg_rpc_client> client(new (std::nothrow)
                                                   tvn_msg_rpc_client(multi_channel_));
    if (!client) return TVN_MSG_ERR_NOMEM;
    int32_t rc = client->open(tvn_msg_addr(TVN_MSG_ADDR_TCP, host_, port_), worker_num_);
    if (rc != 0) return rc;  // the client goes; the next call tries afresh
    if (!create_stubs(client.get())) {
        client->close();
        return TVN_MSG_ERR_NOMEM;
    }
    client_ = std::move(client);
    open_ = true;
    return 0;
}

bool tvn_msg_rpc_api_base::is_client_open() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return open_;
}

unsigned tvn_msg_rpc_api_base::open_count() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return open_count_;
}
