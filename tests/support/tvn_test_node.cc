#include "tvn_test_node.h"

#include <zmq.h>

#include <algorithm>
#include <ostream>
#include <thread>

#include <google/protobuf/text_format.h>

#include "tvn_om_endpoint.h"
#include "tvn_test_net.h"

namespace tvn_test {

namespace {

constexpr int kStorePort = 6102;
constexpr auto kStartLimit = 30s;

::testing::AssertionResult failed(const std::string& what, const node& n) {
    return ::testing::AssertionFailure() << what << "\n" << n.logs();
}

}  // namespace

om_request::om_request(uint64_t opcode) {
    msg_.add_record()->set_opcode(opcode);
    u(0, 0);
}

OmItem* om_request::slot(uint32_t id) {
    auto* rec = msg_.mutable_record(0);
    for (auto& it : *rec->mutable_item())
        if (it.id() == id) return &it;
    OmItem* added = rec->add_item();
    added->set_id(id);
    return added;
}

om_request& om_request::s(uint32_t id, const std::string& v) { return slot(id)->set_str(v), *this; }
om_request& om_request::s8(uint32_t id, const std::string& v) { return slot(id)->set_str8(v), *this; }
om_request& om_request::u(uint32_t id, uint32_t v) { return slot(id)->set_u32(v), *this; }
om_request& om_request::e(uint32_t id, uint32_t v) { return slot(id)->set_enumeration(v), *this; }
om_request& om_request::b(uint32_t id, bool v) { return slot(id)->set_flag(v), *this; }

om_request& om_request::drop(uint32_t id) {
    auto* items = msg_.mutable_record(0)->mutable_item();
    auto it = std::find_if(items->begin(), items->end(), [id](const OmItem& i) { return i.id() == id; });
    if (it != items->end()) items->erase(it);
    return *this;
}

const OmItem* om_reply::item(int record, uint32_t id) const {
    if (record < 0 || record >= records()) return nullptr;
    for (const auto& it : reply.answer().record(record).item())
        if (it.id() == id) return &it;
    return nullptr;
}

std::string om_reply::str(int record, uint32_t id) const {
    const OmItem* it = item(record, id);
    if (it == nullptr) return "<absent>";
    switch (it->value_case()) {
        case OmItem::kStr: return it->str();
        case OmItem::kStr8: return it->str8();
        case OmItem::kU32: return std::to_string(it->u32());
        case OmItem::kEnumeration: return std::to_string(it->enumeration());
        case OmItem::kFlag: return it->flag() ? "true" : "false";
        default: return "<no value>";
    }
}

std::optional<uint32_t> om_reply::num(int record, uint32_t id) const {
    const OmItem* it = item(record, id);
    if (it == nullptr) return std::nullopt;
    if (it->value_case() == OmItem::kU32) return it->u32();
    if (it->value_case() == OmItem::kEnumeration) return it->enumeration();
    return std::nullopt;
}

std::ostream& operator<<(std::ostream& os, const om_reply& r) {
    std::string text;
    google::protobuf::TextFormat::PrintToString(r.reply, &text);
    return os << "call_rc=" << r.call_rc << " " << text;
}

node::node(node_options opts) : opts_(std::move(opts)) {
    ctx_ = zmq_ctx_new();
    sub_ = zmq_socket(ctx_, ZMQ_SUB);
    int linger = 0;
    zmq_setsockopt(sub_, ZMQ_LINGER, &linger, sizeof(linger));
    zmq_setsockopt(sub_, ZMQ_SUBSCRIBE, "", 0);
    zmq_connect(sub_, kOmEventsEndpoint);
}

node::~node() {
    stop_cm();
    side_.reset();
    stop_store();
    zmq_close(sub_);
    zmq_ctx_term(ctx_);
}

std::unique_ptr<process> node::run_sim(const std::string& daemons, const std::string& out) {
    std::vector<std::string> args = {bin_path("tvn_sim"), "--daemons", daemons, "--root", root()};
    args.insert(args.end(), opts_.sim_args.begin(), opts_.sim_args.end());
    const size_t from = read_text(out).size();
    auto p = std::make_unique<process>(
        std::move(args),
        spawn_options{.env = env(), .clean_tvn_env = true, .out_file = out, .merge_err = true, .append = true});
    if (!p->wait_for_output("tvn_sim: ready", kStartLimit, from)) return nullptr;
    return p;
}

::testing::AssertionResult node::start() {
    if (auto r = start_store(); !r) return r;
    if (!opts_.side_daemons.empty()) {
        side_ = run_sim(opts_.side_daemons, path("/sim_side.out"));
        if (!side_) return failed("tvn_sim (" + opts_.side_daemons + ") did not start", *this);
    }
    return start_cm();
}

::testing::AssertionResult node::start_store() {
    if (!opts_.store_daemons.empty()) {
        store_ = run_sim(opts_.store_daemons, path("/sim_store.out"));
        if (!store_) return failed("tvn_sim (" + opts_.store_daemons + ") did not start", *this);
    }
    if (!eventually([] { return port_accepts(kStorePort); }, kStartLimit))
        return failed("nothing serves the store port", *this);
    return ::testing::AssertionSuccess();
}

void node::stop_store() {
    if (store_) store_->stop();
    store_.reset();
}

void node::kill_store() {
    if (store_) store_->kill_now();
    store_.reset();
}

::testing::AssertionResult node::start_cm(env_list extra_env) {
    env_list e = env();
    e.emplace_back("TVN_CM_RPC_TIMEOUT_MS", std::to_string(kNodeRpcTimeoutMs));
    e.insert(e.end(), opts_.cm_env.begin(), opts_.cm_env.end());
    e.insert(e.end(), extra_env.begin(), extra_env.end());
    cm_ = std::make_unique<process>(
        std::vector<std::string>{bin_path("tvn_cm"), "-l", "1", "-v", "1"},
        spawn_options{.env = e, .clean_tvn_env = true, .out_file = path("/tvn_cm.out"), .merge_err = true,
                      .append = true});
    // A command nobody registered is answered as soon as the agent serves.
    const om_request probe(0);
    bool ready = eventually([&] { return cm_->running() && call(probe, 500).call_rc == 0; }, kStartLimit, 20ms);
    if (!ready) return failed("tvn_cm did not start", *this);
    // Let the notification subscription reach the new publisher.
    std::this_thread::sleep_for(300ms);
    drain_events();
    return ::testing::AssertionSuccess();
}

void node::stop_cm() {
    if (cm_) cm_->stop();
    cm_.reset();
}

bool node::cm_running() { return cm_ && cm_->running(); }

om_reply node::call(const om_request& req, int64_t timeout_ms) const {
    om_reply a;
    std::string bytes, raw;
    req.message().SerializeToString(&bytes);
    a.call_rc = tvn::om::call(kOmCommandEndpoint, bytes, timeout_ms, &raw);
    if (a.call_rc == 0 && !a.reply.ParseFromString(raw)) a.call_rc = -2;
    return a;
}

std::vector<OmMessage> node::events(size_t at_least, std::chrono::milliseconds wait) {
    std::vector<OmMessage> out;
    const auto end = std::chrono::steady_clock::now() + wait;
    for (;;) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        long timeout = out.size() >= at_least ? 50 : std::max<long>(left.count(), 0);
        zmq_pollitem_t item{sub_, 0, ZMQ_POLLIN, 0};
        if (zmq_poll(&item, 1, timeout) <= 0) break;
        zmq_msg_t msg;
        zmq_msg_init(&msg);
        if (zmq_msg_recv(&msg, sub_, 0) >= 0) {
            OmMessage m;
            if (m.ParseFromArray(zmq_msg_data(&msg), static_cast<int>(zmq_msg_size(&msg)))) out.push_back(m);
        }
        zmq_msg_close(&msg);
    }
    return out;
}

std::vector<nlohmann::json> node::oplogs() const { return read_jsonl(path("/var/log/platform/alarm.jsonl")); }

std::vector<nlohmann::json> node::new_oplogs(size_t skip, std::chrono::milliseconds wait) const {
    std::vector<nlohmann::json> all;
    eventually([&] { return (all = oplogs()).size() > skip; }, wait, 20ms);
    if (all.size() <= skip) return {};
    return {all.begin() + static_cast<std::ptrdiff_t>(skip), all.end()};
}

std::string node::cm_log() const { return read_text(path("/var/log/platform/tvn_cm.log")); }

std::string node::logs() const {
    return read_text(path("/sim_store.out")) + read_text(path("/sim_side.out")) + read_text(path("/tvn_cm.out")) +
           cm_log();
}

std::vector<std::string> node::files_containing(const std::string& text) const {
    return tvn_test::files_containing(root(), text);
}

tool_run run_tool(const std::string& name, const std::vector<std::string>& args, std::chrono::milliseconds limit) {
    std::vector<std::string> argv = {bin_path(name)};
    argv.insert(argv.end(), args.begin(), args.end());
    process p(std::move(argv), spawn_options{.clean_tvn_env = true, .merge_err = true});
    tool_run r;
    r.status = p.wait(limit);
    r.out = p.out();
    return r;
}

}  // namespace tvn_test
