#pragma once
// The messaging layer's log (module "proto_tvn_msg"). Macros rather than
// functions: the rate limit belongs to each call site, so the site must be
// the caller's own line.
#include "tvn_log.h"

#define TVN_MSG_LOG_ERR(err, ...) TVN_LOG(TVN_LOG_MODULE_MSG, TVN_LOG_ERROR, err, __VA_ARGS__)
#define TVN_MSG_LOG_INF(...) TVN_LOG(TVN_LOG_MODULE_MSG, TVN_LOG_INFO, 0, __VA_ARGS__)
