#include "tvn_omitf_placeholder.h"

#include "tvn_log.h"

int tvn_omitf_placeholder::ommsg_deal(void* /*req*/, void** /*rsp*/) {
    TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, kNotSupported, "Command not supported, opcode: %llu.",
            get_opcode());
    return kNotSupported;
}
