#pragma once
// Stands in for every command class that is not written yet, so that the
// command table is complete and such a command is answered (-95) instead
// of being unknown.
#include "tvn_cm_ombase.h"

class tvn_omitf_placeholder : public tvn_cm_omcommand<tvn_omitf_placeholder> {
public:
    using tvn_cm_omcommand::tvn_cm_omcommand;

    static constexpr int kNotSupported = -95;

    void* create_async_notify_msg() override { return nullptr; }
    int ommsg_deal(void* req, void** rsp) override;
    void oplog_send(int, unsigned int) override {}
};
