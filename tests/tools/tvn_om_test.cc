// tvn_om against a live agent: exit statuses, JSON and readable output,
// usage errors, help, and watching notifications.
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <zmq.hpp>

#include "test_handlers.h"
#include "tvn_cm_omagent.h"
#include "tvn_msgobj.h"
#include "tvn_omm_agent.h"
#include "tvn_test_process.h"
#include "tvn_test_service_files.h"

namespace {

using namespace om_test;
using namespace tvn_test;
using nlohmann::json;

constexpr std::chrono::milliseconds kToolWait{20000};

struct result {
    int status;
    std::string out, err;
};

class Tool : public ::testing::Test {
protected:
    void SetUp() override {
        tvn_omagent_register_processor<answering>(kCodeAnswer);
        tvn_omagent_register_processor<failing>(kCodeFail);
        ASSERT_EQ(tvn_cm_omagent::initRpcServer(), 0);
        endpoint_ = tvn::om::bound_command_endpoint();
        events_ = tvn::om::bound_events_endpoint();
    }
    void TearDown() override { tvn_cm_omagent::clear_processors(); }

    result run(std::vector<std::string> args, bool with_endpoint = true) {
        std::vector<std::string> argv{bin_path("tvn_om")};
        argv.insert(argv.end(), args.begin(), args.end());
        if (with_endpoint) {
            argv.push_back("--endpoint");
            argv.push_back(endpoint_);
        }
        process p(argv);
        EXPECT_TRUE(p.started());
        int status = p.wait(kToolWait);
        return {status, p.out(), p.err()};
    }

    scoped_env ep_{"TVN_OM_ENDPOINT", "tcp://127.0.0.1:0"};
    scoped_env ev_{"TVN_OM_EVENTS", "tcp://127.0.0.1:0"};
    service_files files_;
    std::string endpoint_, events_;
};

TEST_F(Tool, AnAckWithResultZeroExits0AndPrintsTheJsonForm) {
    result r = run({"send", std::to_string(kCodeAnswer), "64:s=/fs1/share1", "4090:s=5", "--json"});
    ASSERT_EQ(r.status, 0) << r.err;
    json j = json::parse(r.out);
    EXPECT_EQ(j["kind"], "ack");
    EXPECT_EQ(j["result"], 0);
    EXPECT_EQ(j["opcode"], "0x7700000001");
    ASSERT_EQ(j["records"].size(), 1u);
    EXPECT_EQ(j["records"][0]["opcode"], "0x7700000001");
    EXPECT_EQ(j["records"][0]["items"]["0"], json({{"type", "u32"}, {"value", 16401}}));
    EXPECT_EQ(j["records"][0]["items"]["64"], json({{"type", "string"}, {"value", "/fs1/share1"}}));
}

TEST_F(Tool, TheReadableViewShowsKindResultAndItems) {
    result r = run({"send", "0x7700000001", "64:s=/fs1/a"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("ack, result 0, opcode 0x7700000001"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("/fs1/a"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("16401"), std::string::npos) << r.out;
}

TEST_F(Tool, EveryOtherReplyExits1WithTheMeaningOfANegativeCode) {
    struct row {
        std::string opcode;
        const char* kind;
        int result;
        const char* readable;
    } rows[] = {
        {"0xd500001b9", "err_ack", -95, "err_ack, result -95 (command or call not supported by this build), opcode 0xd500001b9"},
        {std::to_string(kCodeFail), "err_ack", -14073, "err_ack, result -14073"},
        {"0x1234567", "call_end", 0, "call_end, result 0, opcode 0x1234567"},
    };
    for (const auto& row : rows) {
        result json_run = run({"send", row.opcode, "--json"});
        EXPECT_EQ(json_run.status, 1) << row.opcode;
        json j = json::parse(json_run.out);
        EXPECT_EQ(j["kind"], row.kind) << row.opcode;
        EXPECT_EQ(j["result"], row.result) << row.opcode;
        EXPECT_EQ(j["records"], json::array());
        result text_run = run({"send", row.opcode});
        EXPECT_EQ(text_run.status, 1);
        EXPECT_NE(text_run.out.find(row.readable), std::string::npos) << text_run.out;
    }
}

TEST_F(Tool, ItemZeroIsSentAsZeroUnlessGiven) {
    ASSERT_EQ(run({"send", std::to_string(kCodeAnswer)}).status, 0);
    ASSERT_EQ(run({"send", std::to_string(kCodeAnswer), "0:u=12"}).status, 0);
    auto alarms = files_.alarms();
    ASSERT_EQ(alarms.size(), 2u);
    EXPECT_EQ(alarms[0]["text"].get<std::string>().rfind("0,", 0), 0u);
    EXPECT_EQ(alarms[1]["text"].get<std::string>().rfind("12,", 0), 0u);
}

TEST_F(Tool, EveryItemTypeTravels) {
    result r = run({"send", std::to_string(kCodeAnswer), "64:s8=/fs8", "91:b=true", "90:e=3", "65:u=0x10",
                    "98:s=", "--json"});
    ASSERT_EQ(r.status, 0) << r.err;
    // The handler echoes item 64 read as text, whichever string kind it came as.
    EXPECT_EQ(json::parse(r.out)["records"][0]["items"]["64"]["value"], "/fs8");
}

TEST_F(Tool, UsageErrorsExit2) {
    std::vector<std::vector<std::string>> rows = {
        {},
        {"send"},
        {"send", "zz"},
        {"send", "0x"},
        {"send", "18446744073709551616"},
        {"send", "1", "64:q=1"},
        {"send", "1", "64:s"},
        {"send", "1", "64=s:1"},
        {"send", "1", "1:b=yes"},
        {"send", "1", "5:u=-1"},
        {"send", "1", "5:u=4294967296"},
        {"send", "1", "5:u=1", "5:s=x"},
        {"send", "1", "x:s=1"},
        {"nope"},
        {"send", "1", "--timeout", "abc"},
        {"send", "1", "--timeout"},
        {"watch", "--count", "0"},
        {"watch", "--what"},
        {"watch", "extra"},
    };
    for (const auto& args : rows) {
        result r = run(args);
        std::string line;
        for (const auto& a : args) line += a + " ";
        EXPECT_EQ(r.status, 2) << line << "\n" << r.out << r.err;
        EXPECT_NE(r.err.find("tvn_om: "), std::string::npos) << line;
    }
}

TEST_F(Tool, HelpAtEveryLevelExits0) {
    std::vector<std::vector<std::string>> rows = {{"--help"}, {"-h"}, {"send", "--help"}, {"watch", "-h"},
                                                  {"send", "1", "2:s=x", "--help"}};
    for (const auto& args : rows) {
        result r = run(args, false);
        EXPECT_EQ(r.status, 0) << args[0];
        EXPECT_NE(r.out.find("Usage: tvn_om"), std::string::npos) << r.out;
    }
}

TEST_F(Tool, NoReplyWithinTheTimeOutExits3) {
    zmq::context_t ctx;
    zmq::socket_t mute(ctx, zmq::socket_type::router);
    mute.set(zmq::sockopt::linger, 0);
    mute.bind("tcp://127.0.0.1:*");
    result r = run({"send", "1", "--timeout", "200", "--endpoint", mute.get(zmq::sockopt::last_endpoint)}, false);
    EXPECT_EQ(r.status, 3) << r.err;
}

TEST_F(Tool, WatchPrintsPublishedNotifications) {
    process watcher({bin_path("tvn_om"), "watch", "--count", "2", "--json", "--timeout", "15000",
                           "--events", events_});
    ASSERT_TRUE(watcher.started());
    void* note = MSGOBJ_Create(1, 4091);
    MSGOBJ_SetOpcode(note, 0, 0xD00C90036ULL);
    MSGOBJ_SetItemUnsigned(note, 0, 0, 16401);
    MSGOBJ_SetItemString(note, 0, 1, "42");
    // The watcher subscribes at its own pace: publish until it has seen two.
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(15);
    while (watcher.running() && std::chrono::steady_clock::now() < deadline) {
        OMAgent_NotifyMsgObj(note);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    MSGOBJ_Destroy(note);
    ASSERT_EQ(watcher.wait(std::chrono::seconds(5)), 0) << watcher.err();
    std::vector<json> lines;
    size_t start = 0;
    for (size_t nl; (nl = watcher.out().find('\n', start)) != std::string::npos; start = nl + 1)
        lines.push_back(json::parse(watcher.out().substr(start, nl - start)));
    ASSERT_EQ(lines.size(), 2u) << watcher.out();
    EXPECT_EQ(lines[0]["records"][0]["opcode"], "0xd00c90036");
    EXPECT_EQ(lines[0]["records"][0]["items"]["1"]["value"], "42");
}

TEST_F(Tool, WatchWithNothingPublishedTimesOutWith3) {
    process watcher({bin_path("tvn_om"), "watch", "--timeout", "200", "--events", events_});
    EXPECT_EQ(watcher.wait(kToolWait), 3);
}

}  // namespace
