#include "tvn_cm_ad_forwarding_util.h"

#include "tvn_cm_util.h"

bool tvn_cm_ad_forwarding_util::need_forwarding(uint32_t) { return false; }

int32_t tvn_cm_ad_forwarding_util::get_forwarding_node(uint32_t, int& node) {
    uint32_t nid = 0;
    if (tvn_cm_get_local_nid(&nid) != 0) return -1;
    node = static_cast<int16_t>(nid);
    return 0;
}

// One node keeps no table of remote nodes: nothing to forget.
void tvn_cm_ad_forwarding_util::reset_forwarding_node(uint32_t) {}
