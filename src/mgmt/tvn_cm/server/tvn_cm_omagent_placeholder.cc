// Built only while the OM command framework is not part of the build:
// start-up registers no OM command. TVN_FAIL_AT="tvn_cm_omagent" makes the
// registration fail, for the start-up failure path.
#include "tvn_cm_omagent.h"
#include "tvn_fault.h"

int32_t tvn_cm_omagent::initRpcServer() { return tvn::fail_at("tvn_cm_omagent") ? -1 : 0; }

void tvn_cm_omagent::clear_processors() {}
