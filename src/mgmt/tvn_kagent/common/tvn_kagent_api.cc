#include "tvn_kagent_api.h"

#include "tvn_log.h"

int32_t tvn_kagent_api::KagentSetLogLevel(const tvn_ka_log_level_req& req,
                                          tvn_ka_log_level_resp& rsp, int timeout_ms) {
    tvn_ka_log_level_req converted(req);
    converted.set_level(TvnConvertLogLevelToInternal(static_cast<int>(req.level())));
    return call(&tvn_kagent_service_Stub::kagent_set_log_level, converted, rsp, timeout_ms);
}
