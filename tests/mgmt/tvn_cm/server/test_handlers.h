#pragma once
// Command classes used by the table and road tests.
#include <atomic>
#include <chrono>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>

#include "tvn_cm_ombase.h"
#include "tvn_cm_util.h"
#include "tvn_msgobj.h"

namespace om_test {

// Codes no family uses.
inline constexpr unsigned long long kCodeAnswer = 0x7700000001ULL;
inline constexpr unsigned long long kCodeNoAnswer = 0x7700000002ULL;
inline constexpr unsigned long long kCodeFail = 0x7700000003ULL;
inline constexpr unsigned long long kCodeThrow = 0x7700000004ULL;
inline constexpr unsigned long long kCodeSlow = 0x7700000005ULL;
inline constexpr unsigned long long kCodeAnswer2 = 0x7700000006ULL;

inline constexpr unsigned long long kEventOk = 0xE0;
inline constexpr unsigned long long kEventFail = 0xE1;

inline std::atomic<int>& in_flight() {
    static std::atomic<int> n{0};
    return n;
}
inline std::atomic<int>& max_in_flight() {
    static std::atomic<int> n{0};
    return n;
}

// Shared by the test classes: the operation log of each command.
template <class Derived>
class logged_command : public tvn_cm_omcommand<Derived> {
public:
    using tvn_cm_omcommand<Derived>::tvn_cm_omcommand;
    void* create_async_notify_msg() override { return nullptr; }
    void oplog_send(int result, unsigned int number) override {
        tvn_send_operation(number, result == 0 ? kEventOk : kEventFail, tenant_,
                           "code=" + std::to_string(this->get_opcode()) + ",rc=" + std::to_string(result));
    }

protected:
    uint32_t tenant_ = 0;
};

// Answers with the object type and the share path it was given.
class answering : public logged_command<answering> {
public:
    using logged_command::logged_command;
    int ommsg_deal(void* req, void** rsp) override {
        if (req == nullptr || rsp == nullptr) return -1;
        if (tvn_cm_util::get_vstore_id_from_msg(req, 0, tenant_) != 0) return -22;
        std::string path;
        tvn_cm_util::get_item_from_msg(req, 0, 64, path);
        void* ans = MSGOBJ_Create(1, 4091);
        if (ans == nullptr) return -6;
        MSGOBJ_SetOpcode(ans, 0, 0);  // the road puts the request's code here
        tvn_cm_util::add_unsigned_item_to_msg(ans, 0, "16401", 0);
        tvn_cm_util::add_string_item_to_msg(ans, 0, path, 64);
        tvn_cm_util::add_unsigned_item_to_msg(ans, 0, std::to_string(get_opcode() & 0xFFFFFFFF), 1);
        *rsp = ans;
        return 0;
    }
};

class no_answer : public logged_command<no_answer> {
public:
    using logged_command::logged_command;
    int ommsg_deal(void*, void**) override { return 0; }
};

class failing : public logged_command<failing> {
public:
    using logged_command::logged_command;
    int ommsg_deal(void*, void** rsp) override {
        // An answer made before failing must not be sent.
        *rsp = MSGOBJ_Create(1, 4091);
        return -14073;
    }
};

class throwing : public logged_command<throwing> {
public:
    using logged_command::logged_command;
    int ommsg_deal(void*, void**) override { throw std::runtime_error("handler bug"); }
};

class slow : public logged_command<slow> {
public:
    using logged_command::logged_command;
    int ommsg_deal(void*, void** rsp) override {
        int now = ++in_flight();
        for (int seen = max_in_flight().load(); now > seen && !max_in_flight().compare_exchange_weak(seen, now);) {
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        --in_flight();
        *rsp = MSGOBJ_Create(1, 4091);
        return 0;
    }
};

}  // namespace om_test
