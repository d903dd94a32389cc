#pragma once
// A local node for end-to-end command tests: tvn_sim (the store daemon in
// one process, the authentication daemon and the kernel agent in another, so
// that the store can be stopped on its own) and the real tvn_cm, all under a
// temporary system root on 127.0.0.1 with their fixed ports. Commands go
// through the OM agent's endpoint, notifications are read from its events
// endpoint and operation-log records from alarm.jsonl.
//
//     tvn_test::node n;
//     ASSERT_TRUE(n.start());
//     auto a = n.call(tvn_test::om_request(0xd40114000).s(64, "/fs1/a"));
//     EXPECT_EQ(a.result(), 0);
//     EXPECT_TRUE(n.files_containing("Admin@123").empty());
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "om_agent.pb.h"
#include "tvn_test_files.h"
#include "tvn_test_process.h"
#include "tvn_test_wait.h"

namespace tvn_test {

inline constexpr const char* kOmCommandEndpoint = "tcp://127.0.0.1:6107";
inline constexpr const char* kOmEventsEndpoint = "tcp://127.0.0.1:6108";
// The time-out tvn_cm uses for its calls to the stand-ins in these tests.
inline constexpr int kNodeRpcTimeoutMs = 3000;

// A command under construction: record 0 with the operation code and item 0
// (the tenant, 0 unless set). Setting an item twice keeps the last value.
class om_request {
public:
    explicit om_request(uint64_t opcode);
    om_request& s(uint32_t id, const std::string& v);   // string
    om_request& s8(uint32_t id, const std::string& v);  // 8-bit string
    om_request& u(uint32_t id, uint32_t v);             // unsigned
    om_request& e(uint32_t id, uint32_t v);             // enumeration
    om_request& b(uint32_t id, bool v);                 // flag
    om_request& tenant(uint32_t id) { return u(0, id); }
    // Leaves an item out (for the "missing item" cases).
    om_request& drop(uint32_t id);
    const OmMessage& message() const { return msg_; }

private:
    OmItem* slot(uint32_t id);
    OmMessage msg_;
};

// One command's answer.
struct om_reply {
    int32_t call_rc = -1;  // transport: 0, -3 no reply in time, -2 undecodable reply
    OmReply reply;

    int32_t result() const { return reply.result(); }
    OmReplyKind kind() const { return reply.kind(); }
    // An acknowledgement with result 0.
    bool ok() const { return call_rc == 0 && reply.kind() == OM_ACK && reply.result() == 0; }
    int records() const { return reply.has_answer() ? reply.answer().record_size() : 0; }
    const OmItem* item(int record, uint32_t id) const;
    bool has(int record, uint32_t id) const { return item(record, id) != nullptr; }
    // An item as text: strings as they are, numbers in decimal, flags as
    // "true"/"false"; "<absent>" when the record or item is not there.
    std::string str(int record, uint32_t id) const;
    // An unsigned or enumeration item; nullopt when absent or of another kind.
    std::optional<uint32_t> num(int record, uint32_t id) const;
};
// For failure messages: the reply as protobuf text.
std::ostream& operator<<(std::ostream& os, const om_reply& r);

struct node_options {
    std::string store_daemons{"store"};       // "": the test serves 6102 itself
    std::string side_daemons{"auth,kagent"};  // "": none
    std::vector<std::string> sim_args{};      // more tvn_sim arguments (--join-ms, --seed, ...)
    env_list cm_env{};                        // more tvn_cm environment
};

class node {
public:
    explicit node(node_options opts = {});
    // Stops tvn_cm, then the stand-ins (SIGTERM, SIGKILL after 10 s each).
    ~node();
    node(const node&) = delete;
    node& operator=(const node&) = delete;

    const std::string& root() const { return root_.path(); }
    // An absolute fixed path as it lies under the node's root.
    std::string path(const std::string& abs) const { return root() + abs; }

    // Starts every process and waits (bounded) until each serves; a failure
    // carries the logs.
    ::testing::AssertionResult start();
    // The store daemon alone; without one to run, waits for the store the
    // test serves on 6102.
    ::testing::AssertionResult start_store();
    void stop_store();
    // SIGKILL: the store daemon gets no chance to finish what it was doing.
    void kill_store();
    ::testing::AssertionResult start_cm(env_list extra_env = {});
    void stop_cm();
    bool cm_running();

    om_reply call(const om_request& req, int64_t timeout_ms = 20000) const;

    // Notifications published since the last look, waiting up to `wait` for
    // at least `at_least` of them.
    std::vector<OmMessage> events(size_t at_least = 1, std::chrono::milliseconds wait = 3000ms);
    void drain_events() { events(0, 0ms); }

    // Operation-log records (alarm.jsonl), oldest first.
    std::vector<nlohmann::json> oplogs() const;
    // Records written after the first `skip` (take oplogs().size() before a
    // command), waiting up to `wait` for at least one.
    std::vector<nlohmann::json> new_oplogs(size_t skip, std::chrono::milliseconds wait = 5000ms) const;
    std::string cm_log() const;
    // Every output and log of the node, for failure messages.
    std::string logs() const;
    // Every file under the root that holds `text` (to prove a secret leaked
    // nowhere).
    std::vector<std::string> files_containing(const std::string& text) const;

private:
    env_list env() const { return {{"TVN_SYSROOT", root()}}; }
    std::unique_ptr<process> run_sim(const std::string& daemons, const std::string& out);

    node_options opts_;
    temp_dir root_{"tvn_node"};
    void* ctx_ = nullptr;
    void* sub_ = nullptr;
    std::unique_ptr<process> store_;
    std::unique_ptr<process> side_;
    std::unique_ptr<process> cm_;
};

// Runs a program of the build to its end (bounded); its exit code and
// standard output (standard error goes to the same file).
struct tool_run {
    int status = -1;
    std::string out;
};
tool_run run_tool(const std::string& name, const std::vector<std::string>& args,
                  std::chrono::milliseconds limit = 30s);

}  // namespace tvn_test
