#include "common/tvn_omitf_items.h"

#include <charconv>
#include <cstdlib>

#include "tvn_cm_util.h"
#include "tvn_fault.h"
#include "tvn_msgobj.h"

namespace tvn_omitf {

namespace {

constexpr uint32_t kRecord = 0;
constexpr int32_t kErrItem = -1;
constexpr int32_t kErrNoMem = -6;

bool item_type_of(void* msg, uint32_t item, uint32_t& type) {
    return MSGOBJ_GetItemType(msg, kRecord, item, &type) == 0;
}

bool is_text_type(uint32_t type) { return type == TYPE_STRING || type == TYPE_STRING8; }

template <class T>
bool parse_digits(std::string_view text, T& out) {
    if (text.empty()) return false;
    for (char c : text)
        if (c < '0' || c > '9') return false;
    T value{};
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (ec != std::errc() || end != text.data() + text.size()) return false;
    out = value;
    return true;
}

}  // namespace

bool parse_dec_u32(std::string_view text, uint32_t& out) { return parse_digits(text, out); }
bool parse_dec_u64(std::string_view text, uint64_t& out) { return parse_digits(text, out); }

bool parse_object_id(std::string_view text, uint64_t& out) {
    uint64_t value = 0;
    if (!parse_digits(text, value) || value == 0) return false;
    out = value;
    return true;
}

bool parse_tenant_id(std::string_view text, uint32_t& out) { return parse_dec_u32(text, out); }

item_read read_text(void* msg, uint32_t item, std::string& out) {
    uint32_t type = 0;
    if (!item_type_of(msg, item, type)) return ITEM_READ_ABSENT;
    if (!is_text_type(type)) return ITEM_READ_FAILED;
    std::string text;
    int32_t rc = tvn_cm_util::get_item_from_msg(msg, kRecord, item, text);
    if (rc == static_cast<int32_t>(TVN_OM_ERR_NO_ITEM)) return ITEM_READ_ABSENT;
    if (rc != 0) return ITEM_READ_FAILED;
    out = std::move(text);
    return ITEM_READ_OK;
}

item_read read_number(void* msg, uint32_t item, uint32_t& out) {
    uint32_t type = 0;
    if (!item_type_of(msg, item, type)) return ITEM_READ_ABSENT;
    uint32_t value = 0;
    if (type == TYPE_UNSIGNED) {
        if (MSGOBJ_GetItemUnsigned(msg, kRecord, item, &value) != 0) return ITEM_READ_FAILED;
    } else if (type == TYPE_ENUM) {
        if (MSGOBJ_GetItemEnum(msg, kRecord, item, &value) != 0) return ITEM_READ_FAILED;
    } else {
        return ITEM_READ_FAILED;
    }
    out = value;
    return ITEM_READ_OK;
}

item_read read_unsigned(void* msg, uint32_t item, uint32_t& out) {
    uint32_t type = 0;
    if (!item_type_of(msg, item, type)) return ITEM_READ_ABSENT;
    if (type != TYPE_UNSIGNED) return ITEM_READ_FAILED;
    return read_number(msg, item, out);
}

item_read read_switch(void* msg, uint32_t item, uint32_t& out) {
    uint32_t type = 0;
    if (!item_type_of(msg, item, type)) return ITEM_READ_ABSENT;
    if (type == TYPE_BOOL) {
        bool flag = false;
        if (MSGOBJ_GetItemBool(msg, kRecord, item, &flag) != 0) return ITEM_READ_FAILED;
        out = flag ? 1 : 0;
        return ITEM_READ_OK;
    }
    uint32_t value = 0;
    item_read rc = read_number(msg, item, value);
    if (rc != ITEM_READ_OK) return rc;
    if (value > 1) return ITEM_READ_FAILED;
    out = value;
    return ITEM_READ_OK;
}

item_read read_decimal(void* msg, uint32_t item, uint32_t& out) {
    uint32_t type = 0;
    if (!item_type_of(msg, item, type)) return ITEM_READ_ABSENT;
    if (!is_text_type(type)) return read_number(msg, item, out);
    std::string text;
    item_read rc = read_text(msg, item, text);
    if (rc != ITEM_READ_OK) return rc;
    uint32_t value = 0;
    if (!parse_dec_u32(text, value)) return ITEM_READ_FAILED;
    out = value;
    return ITEM_READ_OK;
}

item_read read_declared(void* msg, const item_def& item, uint32_t& out) {
    switch (item.type) {
        case tvn_om_vocab::item_type::boolean: return read_switch(msg, item.id, out);
        case tvn_om_vocab::item_type::enumeration: return read_decimal(msg, item.id, out);
        case tvn_om_vocab::item_type::unsigned32: return read_unsigned(msg, item.id, out);
        case tvn_om_vocab::item_type::string:
        case tvn_om_vocab::item_type::string8: return read_decimal(msg, item.id, out);
    }
    return ITEM_READ_FAILED;
}

int32_t fail(const on_fail& f, std::string_view value) {
    std::string shown(value);
    TVN_LOG_AT(f.here, TVN_LOG_MODULE_CM, TVN_LOG_ERROR, f.code, f.text, shown.c_str());
    return f.code;
}

int32_t item_reader::take(const item_def& item, std::optional<std::string>& out, const on_fail& bad) {
    std::string text;
    switch (read_text(msg_, item.id, text)) {
        case ITEM_READ_ABSENT: return 0;
        case ITEM_READ_FAILED: return fail(bad);
        case ITEM_READ_OK: break;
    }
    out = std::move(text);
    return 0;
}

int32_t item_reader::take(const item_def& item, std::optional<uint32_t>& out, const on_fail& bad) {
    uint32_t value = 0;
    switch (read_declared(msg_, item, value)) {
        case ITEM_READ_ABSENT: return 0;
        case ITEM_READ_FAILED: return fail(bad);
        case ITEM_READ_OK: break;
    }
    if (!item.allows(value)) return fail(bad, std::to_string(value));
    out = value;
    return 0;
}

int32_t item_reader::take(const item_def& item, std::string& out, const on_fail& bad) {
    std::optional<std::string> got;
    int32_t rc = take(item, got, bad);
    if (rc == 0 && got) out = std::move(*got);
    return rc;
}

int32_t item_reader::take(const item_def& item, uint32_t& out, const on_fail& bad) {
    std::optional<uint32_t> got;
    int32_t rc = take(item, got, bad);
    if (rc == 0 && got) out = *got;
    return rc;
}

int32_t item_reader::need(const item_def& item, std::string& out, const on_fail& absent, const on_fail& bad) {
    std::optional<std::string> got;
    int32_t rc = take(item, got, bad);
    if (rc != 0) return rc;
    if (!got) return fail(absent);
    out = std::move(*got);
    return 0;
}

int32_t item_reader::need(const item_def& item, uint32_t& out, const on_fail& absent, const on_fail& bad) {
    std::optional<uint32_t> got;
    int32_t rc = take(item, got, bad);
    if (rc != 0) return rc;
    if (!got) return fail(absent);
    out = *got;
    return 0;
}

int32_t item_reader::tenant(uint32_t& out, const on_fail& unreadable, const on_fail& invalid) {
    std::string text;
    switch (read_text(msg_, TVN_OM_ITEM_VSTORE_ID, text)) {
        case ITEM_READ_ABSENT: out = 0; return 0;
        case ITEM_READ_FAILED: return fail(unreadable);
        case ITEM_READ_OK: break;
    }
    uint32_t value = 0;
    if (!parse_tenant_id(text, value)) return fail(invalid, text);
    out = value;
    return 0;
}

int32_t write_items(void* ack, uint32_t record, const std::vector<answer_item>& items) {
    for (const auto& it : items) {
        if (tvn_cm_util::add_item_to_msg(ack, record, it.value, it.id, it.type) != 0) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, kErrItem, "Add item(%u) to ack failed.", it.id);
            return kErrItem;
        }
    }
    return 0;
}

void* new_message(uint32_t items, uint64_t opcode) {
    void* msg = MSGOBJ_Create(TVN_OM_MSG_RECORDS, items);
    if (msg == nullptr) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, kErrNoMem, "tvn_MSGOBJ_Create failed");
        return nullptr;
    }
    if (opcode != 0) MSGOBJ_SetOpcode(msg, kRecord, opcode);
    return msg;
}

int32_t answer_record(void** rsp, uint32_t size, const std::vector<answer_item>& items) {
    void* ack = new_message(size);
    if (ack == nullptr) return kErrNoMem;
    int32_t rc = write_items(ack, kRecord, items);
    if (rc != 0) {
        MSGOBJ_Destroy(ack);
        return rc;
    }
    *rsp = ack;
    return 0;
}

void* new_notify_message(uint64_t opcode, uint32_t obj_type) {
    if (tvn::fail_at("tvn_MSGOBJ_Create")) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, kErrNoMem, "tvn_MSGOBJ_Create failed");
        return nullptr;
    }
    void* msg = new_message(TVN_OM_MSG_ITEMS, opcode);
    if (msg == nullptr) return nullptr;
    if (write_items(msg, kRecord, {{TVN_OM_ITEM_MSG_TYPE, TYPE_UNSIGNED, std::to_string(obj_type)}}) != 0) {
        MSGOBJ_Destroy(msg);
        return nullptr;
    }
    return msg;
}

unsigned rpc_timeout_ms(unsigned normal_ms) {
    const char* env = std::getenv("TVN_CM_RPC_TIMEOUT_MS");
    if (env == nullptr || *env == '\0') return normal_ms;
    uint32_t value = 0;
    if (!parse_dec_u32(env, value) || value == 0) return normal_ms;
    return value;
}

int32_t tvn_cm_check_tenant_exist(uint32_t /*tenant*/) { return 0; }

}  // namespace tvn_omitf
