// initRpcServer: its steps in order, their texts, and every failure point.
#include <string>

#include <gtest/gtest.h>
#include <zmq.hpp>

#include "tvn_cm_omagent.h"
#include "tvn_omm_agent.h"
#include "tvn_test_service_files.h"

namespace {

using namespace tvn_test;

class Init : public ::testing::Test {
protected:
    void TearDown() override { tvn_cm_omagent::clear_processors(); }
    std::string log_since(size_t mark) const {
        std::string all = files_.log();
        return mark < all.size() ? all.substr(mark) : std::string();
    }
    scoped_env ep_{"TVN_OM_ENDPOINT", "tcp://127.0.0.1:0"};
    scoped_env ev_{"TVN_OM_EVENTS", "tcp://127.0.0.1:0"};
    service_files files_;
};

TEST_F(Init, StepsRunInOrderAndTheAgentServes) {
    ASSERT_EQ(tvn_cm_omagent::initRpcServer(), 0);
    EXPECT_EQ(tvn_cm_omagent::processor_count(), 328u);
    EXPECT_FALSE(tvn::om::bound_command_endpoint().empty());
    EXPECT_FALSE(tvn::om::bound_events_endpoint().empty());
    std::string log = files_.log();
    size_t rpc = log.find("Start init Rpc module.");
    size_t handle = log.find("Start init ServerHandle.");
    size_t set = log.find("TVN_CM rpc server handle set");
    size_t done = log.find("Start cm rpc server success.");
    ASSERT_NE(done, std::string::npos);
    EXPECT_LT(rpc, handle);
    EXPECT_LT(handle, set);
    EXPECT_LT(set, done);

    tvn_cm_omagent::clear_processors();
    EXPECT_EQ(tvn_cm_omagent::processor_count(), 0u);
    EXPECT_TRUE(tvn::om::bound_command_endpoint().empty());
    // And it can start again afterwards.
    ASSERT_EQ(tvn_cm_omagent::initRpcServer(), 0);
}

TEST_F(Init, EachFailurePointEndsWithItsTexts) {
    struct row {
        const char* fail_at;
        const char* text;
        bool register2om;  // the step-2 summary text follows
    } rows[] = {
        {"Msg_RegisterCfgFunc", "Msg_RegisterCfgFunc failed.", true},
        {"Msg_RegisterSleepFunc", "Msg_RegisterFunc failed.", true},
        {"Msg_RegisterMallocFunc", "Msg_RegisterFunc failed.", true},
        {"Msg_RegisterFreeFunc", "Msg_RegisterFunc failed.", true},
        {"Msg_RegisterLogIntfFunc", "Msg_RegisterFunc failed.", true},
        {"Msg_RegisterLocaltimeFunc", "Msg_RegisterFunc failed.", true},
        {"Msg_RegisterGettimeFunc", "Msg_RegisterFunc failed.", true},
        {"Msg_RegisterGetLocalNid", "Msg_RegisterFunc failed.", true},
        {"Msg_RegisterCreateThreadFunc", "Msg_RegisterFunc failed.", true},
        {"MSG_MemManageInit", "MSG_MemManageInit failed.", true},
        {"MSG_ClientInit", "MSG_ClientInit failed.", true},
        {"MSG_RegisterPID", "MSG_RegisterPID failed, ret(-1).", true},
        {"OMM_AGENT_REG_SYS_LOG", "Msg_RegisterLogIntfFunc failed.", true},
        {"OMM_AGENT_REG_SYS_SLEEP", "Msg_RegisterSleepFunc failed.", true},
        {"OMM_AGENT_REG_SYS_MALLOC", "OMM_AGENT_REG_SYS_MALLOC failed.", true},
        {"OMM_AGENT_REG_SYS_FREE", "OMM_AGENT_REG_SYS_FREE failed.", true},
        {"OMM_AGENT_REG_SYS_LOCAL_TIME", "OMM_AGENT_REG_SYS_LOCAL_TIME failed.", true},
        {"OMM_AGENT_REG_SYS_TIME", "OMM_AGENT_REG_SYS_TIME failed.", true},
        {"OMM_AGENT_REG_SYS_LOCAL_NID", "OMM_AGENT_REG_SYS_LOCAL_NID failed.", true},
        {"OMM_AGENT_REG_SYS_CREATE_THREAD", "OMM_AGENT_REG_SYS_CREATE_THREAD failed.", true},
        {"OMM_AGENTInit", "Omm agent init failed, ret(-1).", true},
        {"rpcInitWork", "Init rpcmodule failed, ret(-1).", false},
        {"regRpcEntrySet", "Register rpc server handle failed,ret(-1).", false},
    };
    for (const auto& r : rows) {
        new_log_window();
        size_t mark = files_.log().size();
        {
            scoped_env fail("TVN_FAIL_AT", r.fail_at);
            EXPECT_EQ(tvn_cm_omagent::initRpcServer(), -1) << r.fail_at;
        }
        std::string log = log_since(mark);
        EXPECT_NE(log.find(r.text), std::string::npos) << r.fail_at << "\n" << log;
        EXPECT_EQ(log.find("Register2OM failed.") != std::string::npos, r.register2om) << r.fail_at;
        EXPECT_EQ(log.find("Start cm rpc server success."), std::string::npos) << r.fail_at;
        std::string fail_at = r.fail_at;
        if (fail_at.rfind("OMM_AGENT_REG_SYS_", 0) == 0) {
            EXPECT_NE(log.find("Omm agent reg func failed, ret(-1)."), std::string::npos) << r.fail_at;
        }
        if (fail_at == "regRpcEntrySet") {
            EXPECT_NE(log.find("Init handler failed, ret(-1)."), std::string::npos);
        }
        if (!r.register2om) {
            EXPECT_NE(log.find("Start init Rpc module."), std::string::npos) << r.fail_at;
        }
        // Nothing is left serving after a failed start.
        EXPECT_TRUE(tvn::om::bound_command_endpoint().empty()) << r.fail_at;
        EXPECT_TRUE(tvn::om::bound_events_endpoint().empty()) << r.fail_at;
        tvn_cm_omagent::clear_processors();
    }
}

TEST_F(Init, ABusyCommandPortFailsTheRpcModuleStep) {
    zmq::context_t ctx;
    zmq::socket_t squatter(ctx, zmq::socket_type::rep);
    squatter.set(zmq::sockopt::linger, 0);
    squatter.bind("tcp://127.0.0.1:*");
    scoped_env busy("TVN_OM_ENDPOINT", squatter.get(zmq::sockopt::last_endpoint).c_str());
    EXPECT_EQ(tvn_cm_omagent::initRpcServer(), -1);
    EXPECT_TRUE(files_.logged("Init rpcmodule failed, ret(-1)."));
    EXPECT_TRUE(tvn::om::bound_events_endpoint().empty());
}

}  // namespace
