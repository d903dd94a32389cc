#include "tvn_cm_ombase.h"

#include <cstdint>

#include "tvn_cm_util.h"
#include "tvn_msgobj.h"
#include "tvn_omm_agent.h"

tvn_cm_ombase::tvn_cm_ombase(unsigned long long opcode) : m_opcode(opcode) {}

tvn_cm_ombase::~tvn_cm_ombase() = default;

void tvn_cm_ombase::set_sessionkey(unsigned long long key) { m_sessionkey = key; }

unsigned long long tvn_cm_ombase::get_opcode() { return m_opcode; }

bool tvn_cm_ombase::need_forwarding(void* /*msg*/) { return false; }

int tvn_cm_ombase::get_forwarding_node(int& node) {
    uint32_t nid = 0;
    if (tvn_cm_get_local_nid(&nid) != 0) nid = 0;
    // The platform keeps node ids in 16 bits and hands them on signed.
    node = static_cast<int>(static_cast<int16_t>(static_cast<uint16_t>(nid)));
    return 0;
}

int tvn_cm_ombase::get_forwarding_retry() { return 1; }

int tvn_cm_ombase::get_forwarding_timeout() { return 10; }

void tvn_cm_ombase::send_operation(unsigned int, unsigned long long, unsigned long long,
                                   const char*) {}

int tvn_cm_ombase::send_async_notify() {
    void* msg = create_async_notify_msg();
    if (msg == nullptr) return -6;
    int rc = OMAgent_NotifyMsgObj(msg);
    MSGOBJ_Destroy(msg);
    return rc;
}
