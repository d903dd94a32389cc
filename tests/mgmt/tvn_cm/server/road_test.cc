// The road of one command, through the real agent endpoint.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "om_agent.pb.h"
#include "test_handlers.h"
#include "tvn_cm_omagent.h"
#include "tvn_om_endpoint.h"
#include "tvn_om_msg.h"
#include "tvn_omm_agent.h"
#include "tvn_test_service_files.h"

namespace {

using namespace om_test;
using namespace tvn_test;

constexpr int64_t kWaitMs = 10000;

std::string command(unsigned long long opcode, uint32_t type = 9, const char* path = nullptr,
                    const char* tenant = nullptr) {
    OmMessage m;
    auto* r = m.add_record();
    r->set_opcode(opcode);
    auto* t = r->add_item();
    t->set_id(0);
    t->set_u32(type);
    if (path != nullptr) {
        auto* p = r->add_item();
        p->set_id(64);
        p->set_str(path);
    }
    if (tenant != nullptr) {
        auto* v = r->add_item();
        v->set_id(4090);
        v->set_str(tenant);
    }
    return m.SerializeAsString();
}

class Road : public ::testing::Test {
protected:
    void SetUp() override {
        tvn_omagent_register_processor<answering>(kCodeAnswer);
        tvn_omagent_register_processor<answering>(kCodeAnswer2);
        tvn_omagent_register_processor<no_answer>(kCodeNoAnswer);
        tvn_omagent_register_processor<failing>(kCodeFail);
        tvn_omagent_register_processor<throwing>(kCodeThrow);
        tvn_omagent_register_processor<slow>(kCodeSlow);
        ASSERT_EQ(tvn_cm_omagent::initRpcServer(), 0);
        endpoint_ = tvn::om::bound_command_endpoint();
        new_log_window();
    }
    void TearDown() override { tvn_cm_omagent::clear_processors(); }

    OmReply send(const std::string& bytes, bool queue = false) {
        std::string reply;
        OmReply r;
        EXPECT_EQ(tvn::om::call(endpoint_, bytes, kWaitMs, &reply, queue), 0);
        EXPECT_TRUE(r.ParseFromString(reply));
        return r;
    }
    std::vector<nlohmann::json> alarms_with(unsigned long long code) const {
        std::vector<nlohmann::json> out;
        for (auto& a : files_.alarms())
            if (a["text"].get<std::string>().find("code=" + std::to_string(code) + ",") != std::string::npos)
                out.push_back(a);
        return out;
    }

    scoped_env ep_{"TVN_OM_ENDPOINT", "tcp://127.0.0.1:0"};
    scoped_env ev_{"TVN_OM_EVENTS", "tcp://127.0.0.1:0"};
    service_files files_;
    std::string endpoint_;
};

TEST_F(Road, UndecodableBytesCloseTheCallWithMinusOne) {
    for (bool queue : {false, true}) {
        OmReply r = send(std::string("\x0a\x03\x08", 3), queue);
        EXPECT_EQ(r.kind(), OM_CALL_END);
        EXPECT_EQ(r.result(), -1);
    }
    EXPECT_EQ(files_.count("MSGOBJ_Decode fail."), 2u);
    EXPECT_TRUE(files_.alarms().empty());
}

TEST_F(Road, AnUnknownCodeClosesTheCallWithZero) {
    OmReply r = send(command(0x1234567));
    EXPECT_EQ(r.kind(), OM_CALL_END);
    EXPECT_EQ(r.result(), 0);
    EXPECT_TRUE(files_.logged("Get_Processor fail, opcode: 19088743."));
    EXPECT_TRUE(files_.logged("can not find processor. OpCode:19088743"));
    EXPECT_TRUE(files_.alarms().empty());
}

TEST_F(Road, SuccessIsAnAckWhoseRecordZeroCarriesTheRequestsCode) {
    OmReply r = send(command(kCodeAnswer2, 9, "/fs1/share1", "5"));
    ASSERT_EQ(r.kind(), OM_ACK);
    EXPECT_EQ(r.result(), 0);
    EXPECT_EQ(r.opcode(), kCodeAnswer2);
    ASSERT_EQ(r.answer().record_size(), 1);
    const OmRecord& rec = r.answer().record(0);
    EXPECT_EQ(rec.opcode(), kCodeAnswer2);
    ASSERT_GE(rec.item_size(), 3);
    EXPECT_EQ(rec.item(0).u32(), 16401u);
    EXPECT_EQ(rec.item(1).str(), "/fs1/share1");
    // Built with the code it was reached by.
    EXPECT_EQ(rec.item(2).u32(), kCodeAnswer2 & 0xFFFFFFFF);
    EXPECT_TRUE(files_.logged("Recieve rpc msg, pcode:" + std::to_string(kCodeAnswer2) + ", type:9."));

    auto logs = alarms_with(kCodeAnswer2);
    ASSERT_EQ(logs.size(), 1u);
    EXPECT_EQ(logs[0]["id"], "0xe0");
    EXPECT_EQ(logs[0]["kind"], 104);
    EXPECT_EQ(logs[0]["text"], "9,vStore 5,code=" + std::to_string(kCodeAnswer2) + ",rc=0");
}

TEST_F(Road, ZeroWithoutAnAnswerIsAnErrorAckWithZero) {
    OmReply r = send(command(kCodeNoAnswer));
    EXPECT_EQ(r.kind(), OM_ERR_ACK);
    EXPECT_EQ(r.result(), 0);
    EXPECT_EQ(r.opcode(), kCodeNoAnswer);
    EXPECT_TRUE(files_.logged("Ommsg_deal fail, opcode: " + std::to_string(kCodeNoAnswer) + ", pAckMsgObj:"));
    auto logs = alarms_with(kCodeNoAnswer);
    ASSERT_EQ(logs.size(), 1u);
    EXPECT_EQ(logs[0]["id"], "0xe0");
    EXPECT_EQ(logs[0]["kind"], 3);
}

TEST_F(Road, AHandlerErrorIsAnErrorAckWithItsCode) {
    struct row {
        unsigned long long code;
        int32_t result;
    } rows[] = {{kCodeFail, -14073}, {kCodeThrow, -1}};
    for (const auto& row : rows) {
        OmReply r = send(command(row.code));
        EXPECT_EQ(r.kind(), OM_ERR_ACK);
        EXPECT_EQ(r.result(), row.result);
        EXPECT_EQ(r.opcode(), row.code);
        EXPECT_FALSE(r.has_answer());
        auto logs = alarms_with(row.code);
        ASSERT_EQ(logs.size(), 1u);
        EXPECT_EQ(logs[0]["id"], "0xe1");
        EXPECT_EQ(logs[0]["text"], "9,code=" + std::to_string(row.code) + ",rc=" + std::to_string(row.result));
    }
}

TEST_F(Road, APlaceholderCommandAnswersNotSupported) {
    // A diagnostic command, which stays a placeholder.
    OmReply r = send(command(0xd500001b9ULL));
    EXPECT_EQ(r.kind(), OM_ERR_ACK);
    EXPECT_EQ(r.result(), -95);
    EXPECT_TRUE(files_.logged("Command not supported, opcode: 57176752569."));
}

TEST_F(Road, TheQueueRoadTakesTheSameSteps) {
    OmReply ok = send(command(kCodeAnswer, 4), true);
    EXPECT_EQ(ok.kind(), OM_ACK);
    EXPECT_EQ(ok.answer().record(0).opcode(), kCodeAnswer);
    EXPECT_EQ(send(command(kCodeFail), true).result(), -14073);
    OmReply unknown = send(command(0x99), true);
    EXPECT_EQ(unknown.kind(), OM_CALL_END);
    EXPECT_EQ(unknown.result(), 0);
    EXPECT_TRUE(files_.logged("Recive one message."));
    EXPECT_TRUE(files_.logged("Opcode:" + std::to_string(kCodeAnswer) + ", type:4."));
    EXPECT_EQ(alarms_with(kCodeAnswer).size(), 1u);
}

TEST_F(Road, FailedAnswersAreLoggedAndTheCallStillEnds) {
    {
        scoped_env fail("TVN_FAIL_AT", "OMAgent_AckMsgObj");
        OmReply r = send(command(kCodeAnswer));
        EXPECT_EQ(r.kind(), OM_CALL_END);
        EXPECT_EQ(r.result(), -1);
    }
    EXPECT_TRUE(files_.logged("Send OMAgent_AckMsgObj to OM fail, opcode: " + std::to_string(kCodeAnswer) + "."));
    {
        scoped_env fail("TVN_FAIL_AT", "OMAgent_PostErrAck");
        EXPECT_EQ(send(command(kCodeFail)).kind(), OM_CALL_END);
    }
    EXPECT_TRUE(files_.logged("OMAgent_PostErrAck fail."));
    {
        scoped_env fail("TVN_FAIL_AT", "MSG_GetMsgInfo");
        EXPECT_EQ(send(command(kCodeAnswer), true).result(), -1);
    }
    EXPECT_TRUE(files_.logged("MSG_GetMsgInfo fail."));
    // Still serving.
    EXPECT_EQ(send(command(kCodeAnswer)).kind(), OM_ACK);
}

TEST_F(Road, EntriesWithoutAContextOrMessageOnlyLog) {
    rpcServerMsgHandle(nullptr, "x", 1);
    TlvMsgHandle(nullptr);
    EXPECT_TRUE(files_.logged("Rpc dst get failed, rpcContext is null."));
    EXPECT_TRUE(files_.logged("TlvMsgHandle parameter is null."));
}

TEST_F(Road, ManyCommandsFromSeveralClientsAreAllAnswered) {
    constexpr int kClients = 8, kEach = 6;
    std::atomic<int> acks{0};
    std::vector<std::thread> clients;
    for (int c = 0; c < kClients; ++c)
        clients.emplace_back([&, c] {
            for (int i = 0; i < kEach; ++i) {
                std::string reply;
                OmReply r;
                unsigned long long code = (i % 2 == 0) ? kCodeSlow : kCodeAnswer;
                if (tvn::om::call(endpoint_, command(code, 9, "/p"), kWaitMs, &reply, c % 4 == 3) == 0 &&
                    r.ParseFromString(reply) && r.kind() == OM_ACK && r.opcode() == code)
                    ++acks;
            }
        });
    for (auto& t : clients) t.join();
    EXPECT_EQ(acks.load(), kClients * kEach);
    EXPECT_GT(max_in_flight().load(), 1);
}

}  // namespace
