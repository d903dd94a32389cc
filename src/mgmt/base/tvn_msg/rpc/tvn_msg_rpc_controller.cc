#include "tvn_msg_rpc_controller.h"

void tvn_msg_rpc_controller::Reset() {
    error_text_.clear();
    errno_ = 0;
    canceled_ = false;
    timeout_ = DEFAULT_TIMEOUT_MS;
}

void tvn_msg_rpc_controller::StartCancel() {
    canceled_ = true;
    errno_ = -2;
}

void tvn_msg_rpc_controller::SetFailed(const std::string& reason) {
    error_text_ = reason;
    errno_ = -1;
}
