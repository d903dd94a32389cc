// libFuzzer target: any bytes down the road of one command, on both roads,
// with the full command table and one handler that reads and answers
// items. Every input must end in a decodable reply, and bytes that are not
// a command must close the call with -1.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <google/protobuf/stubs/logging.h>

#include "om_agent.pb.h"
#include "tvn_cm_ombase.h"
#include "tvn_cm_omagent.h"
#include "tvn_cm_util.h"
#include "tvn_msgobj.h"
#include "tvn_om_msg.h"
#include "tvn_omm_agent.h"

namespace {

void check(bool ok) {
    if (!ok) __builtin_trap();
}

// Reads what a share command would read and answers with it.
class echo_items : public tvn_cm_omcommand<echo_items> {
public:
    using tvn_cm_omcommand::tvn_cm_omcommand;
    void* create_async_notify_msg() override { return nullptr; }
    void oplog_send(int, unsigned int) override {}
    int ommsg_deal(void* req, void** rsp) override {
        uint32_t tenant = 0;
        if (tvn_cm_util::get_vstore_id_from_msg(req, 0, tenant) != 0) return -22;
        SecString pw;
        TvnAuthGetPassWord(req, 0, 70, pw);
        void* ans = MSGOBJ_Create(1, 4091);
        if (ans == nullptr) return -6;
        for (uint32_t id : {1u, 9u, 64u, 65u, 89u, 91u, 93u}) {
            std::string text;
            if (tvn_cm_util::get_item_from_msg(req, 0, id, text) == 0)
                tvn_cm_util::add_string_item_to_msg(ans, 0, text, id);
        }
        *rsp = ans;
        return 0;
    }
};

int32_t cfg(MSG_CFG_S*) { return 0; }

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    google::protobuf::SetLogHandler(nullptr);
    // The NFS commands in the table call the store and the kernel agent:
    // never reach a store that may run on this machine, and give up on the
    // other daemons at once.
    setenv("TVN_FAIL_AT", "tvn_store_nfs_api", 1);
    setenv("TVN_CM_RPC_TIMEOUT_MS", "1", 1);
    tvn_omagent_register_processor<echo_items>(1);
    tvn_omagent_register_processor<echo_items>(0xd40114000UL);  // takes the code before the list does
    tvn_cm_register_all_commands();
    Msg_RegisterCfgFunc(cfg);
    MSG_MemManageInit();
    MSG_ClientInit("MSG_CLIENT_PROTO_CM", TlvMsgHandle);
    regRpcEntrySet(rpcServerMsgHandle);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    void* probe = nullptr;
    bool is_command = MSGOBJ_Decode(666, data, size, &probe) == 0;
    MSGOBJ_Destroy(probe);
    for (bool queue : {false, true}) {
        std::string raw;
        check(tvn::om::invoke_local(data, size, queue, &raw) == 0);
        OmReply reply;
        check(reply.ParseFromString(raw));
        if (!is_command) check(reply.kind() == OM_CALL_END && reply.result() == -1);
    }
    return 0;
}
