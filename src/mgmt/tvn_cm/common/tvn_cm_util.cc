#include "tvn_cm_util.h"

#include <cerrno>
#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>

#include "tvn_alarm.h"
#include "tvn_fault.h"
#include "tvn_log.h"
#include "tvn_msgobj.h"

namespace {

constexpr const char* kModule = TVN_LOG_MODULE_CM;

int32_t last_error(void* msg) { return static_cast<int32_t>(MSGOBJ_GetLastError(msg)); }

bool parse_u32(std::string_view text, uint32_t& value) {
    if (text.empty()) return false;
    for (char c : text)
        if (c < '0' || c > '9') return false;
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value, 10);
    return ec == std::errc() && end == text.data() + text.size();
}

}  // namespace

namespace tvn_cm_util {

int32_t add_item_to_msg(void* msg, uint32_t record, const std::string& value, uint32_t item,
                        uint32_t type) {
    switch (type) {
        case MSGOBJ_ITEM_TYPE_UNSIGNED: return add_unsigned_item_to_msg(msg, record, value, item);
        case MSGOBJ_ITEM_TYPE_BOOL: return add_bool_item_to_msg(msg, record, value, item);
        case MSGOBJ_ITEM_TYPE_ENUM: return add_enum_item_to_msg(msg, record, value, item);
        case MSGOBJ_ITEM_TYPE_STRING: return add_string_item_to_msg(msg, record, value, item);
        default:
            TVN_LOG(kModule, TVN_LOG_ERROR, -22, "Item(%u):invalid item type(%u).", item, type);
            return -22;
    }
}

int32_t add_unsigned_item_to_msg(void* msg, uint32_t record, const std::string& value, uint32_t item) {
    uint32_t number = 0;
    if (!parse_u32(value, number)) {
        TVN_LOG(kModule, TVN_LOG_ERROR, -22, "Add_uint_item failed, item(%u).", item);
        return -22;
    }
    MSGOBJ_SetItemUnsigned(msg, record, item, number);
    int32_t err = last_error(msg);
    if (err != 0) {
        TVN_LOG(kModule, TVN_LOG_ERROR, err, "Add_uint_item failed, item(%u).", item);
        return err;
    }
    TVN_LOG(kModule, TVN_LOG_INFO, 0, "Add_uint_item success, item(%u) value(%u).", item, number);
    return 0;
}

int32_t add_bool_item_to_msg(void* msg, uint32_t record, const std::string& value, uint32_t item) {
    bool flag = value != "false";
    MSGOBJ_SetItemBool(msg, record, item, flag);
    int32_t err = last_error(msg);
    if (err != 0) {
        TVN_LOG(kModule, TVN_LOG_ERROR, err, "Add_bool_item failed, item(%u).", item);
        return err;
    }
    TVN_LOG(kModule, TVN_LOG_INFO, 0, "Add_bool_item success, item(%u) value(%u).", item,
            static_cast<unsigned>(flag));
    return 0;
}

int32_t add_enum_item_to_msg(void* msg, uint32_t record, const std::string& value, uint32_t item) {
    uint32_t number = 0;
    if (!parse_u32(value, number)) {
        TVN_LOG(kModule, TVN_LOG_ERROR, -22, "Add_enum_item failed, item(%u).", item);
        return -22;
    }
    MSGOBJ_SetItemEnum(msg, record, item, number);
    int32_t err = last_error(msg);
    if (err != 0) {
        TVN_LOG(kModule, TVN_LOG_ERROR, err, "Add_enum_item failed, item(%u).", item);
        return err;
    }
    TVN_LOG(kModule, TVN_LOG_INFO, 0, "Add_enum_item success, item(%u) value(%u).", item, number);
    return 0;
}

int32_t add_string_item_to_msg(void* msg, uint32_t record, const std::string& value, uint32_t item) {
    MSGOBJ_SetItemString(msg, record, item, value.c_str());
    int32_t err = last_error(msg);
    if (err != 0) {
        TVN_LOG(kModule, TVN_LOG_ERROR, err, "Add_string_item failed, item(%u).", item);
        return err;
    }
    TVN_LOG(kModule, TVN_LOG_INFO, 0, "Add_string_item success, item(%u) value(%s).", item,
            value.c_str());
    return 0;
}

int32_t get_item_from_msg(void* msg, uint32_t record, uint32_t item, std::string& out) {
    uint32_t type = 0;
    if (MSGOBJ_GetItemType(msg, record, item, &type) != 0) {
        int32_t err = last_error(msg);
        TVN_LOG(kModule, TVN_LOG_ERROR, err, "No item(%u).", item);
        return err != 0 ? err : static_cast<int32_t>(TVN_OM_ERR_NO_ITEM);
    }
    switch (type) {
        case MSGOBJ_ITEM_TYPE_UNSIGNED: return get_unsigned_item_from_msg(msg, record, item, out);
        case MSGOBJ_ITEM_TYPE_BOOL: return get_bool_item_from_msg(msg, record, item, out);
        case MSGOBJ_ITEM_TYPE_STRING:
        case MSGOBJ_ITEM_TYPE_STRING8: return get_string_item_from_msg(msg, record, item, out);
        default: return get_enum_item_from_msg(msg, record, item, out);
    }
}

int32_t get_unsigned_item_from_msg(void* msg, uint32_t record, uint32_t item, std::string& out) {
    uint32_t value = 0;
    if (MSGOBJ_GetItemUnsigned(msg, record, item, &value) != 0) {
        int32_t err = last_error(msg);
        TVN_LOG(kModule, TVN_LOG_ERROR, err, "Get param(%u) failed.", item);
        return err;
    }
    out = std::to_string(value);
    TVN_LOG(kModule, TVN_LOG_INFO, 0, "Get param(%u) success, unsigned_value(%u).", item, value);
    return 0;
}

int32_t get_bool_item_from_msg(void* msg, uint32_t record, uint32_t item, std::string& out) {
    bool value = false;
    if (MSGOBJ_GetItemBool(msg, record, item, &value) != 0) {
        int32_t err = last_error(msg);
        TVN_LOG(kModule, TVN_LOG_ERROR, err, "Get param(%u) failed.", item);
        return err;
    }
    out = value ? "true" : "false";
    TVN_LOG(kModule, TVN_LOG_INFO, 0, "Get param(%u) success, bool_str(%s).", item, out.c_str());
    return 0;
}

// No success log: string items carry secrets as often as names.
int32_t get_string_item_from_msg(void* msg, uint32_t record, uint32_t item, std::string& out) {
    char* text = nullptr;
    uint32_t length = 0;
    if (MSGOBJ_GetItemString(msg, record, item, &text, &length) != 0 || text == nullptr) {
        int32_t err = last_error(msg);
        TVN_LOG(kModule, TVN_LOG_ERROR, err, "Get param(%u) failed.", item);
        return err != 0 ? err : -1;
    }
    out.assign(text, length);
    return 0;
}

int32_t get_enum_item_from_msg(void* msg, uint32_t record, uint32_t item, std::string& out) {
    uint32_t value = 0;
    if (MSGOBJ_GetItemEnum(msg, record, item, &value) != 0) {
        int32_t err = last_error(msg);
        TVN_LOG(kModule, TVN_LOG_ERROR, err, "Get param(%u) failed.", item);
        return err;
    }
    out = std::to_string(value);
    return 0;
}

int32_t get_vstore_id_from_msg(void* msg, uint32_t record, uint32_t& tenant_id) {
    uint32_t type = 0;
    if (MSGOBJ_GetItemType(msg, record, TVN_OM_ITEM_VSTORE_ID, &type) != 0) {
        if (MSGOBJ_GetLastError(msg) == TVN_OM_ERR_NO_ITEM) {
            tenant_id = 0;
            return 0;
        }
        return -1;
    }
    std::string text;
    if (get_string_item_from_msg(msg, record, TVN_OM_ITEM_VSTORE_ID, text) != 0) return -1;
    uint32_t value = 0;
    if (!parse_u32(text, value)) return -22;
    tenant_id = value;
    return 0;
}

namespace {
// Operation types whose event ids do not depend on the command; none yet.
const oplog_id_entry kOplogIdTable[] = {
    {2, nullptr},
};
}  // namespace

unsigned long long get_oplog_id(uint32_t type, int32_t result) {
    return get_oplog_id(kOplogIdTable, type, result);
}

unsigned long long get_oplog_id(const oplog_id_entry* table, uint32_t type, int32_t result) {
    unsigned long long id = 0;
    if (table == nullptr) return 0;
    for (const oplog_id_entry* e = table; e->type <= 1; ++e)
        if (e->type == type && e->get_id != nullptr) id = e->get_id(result);
    return id;
}

}  // namespace tvn_cm_util

int32_t TvnAuthGetPassWord(void* msg, uint32_t record, uint32_t item, SecString& out) {
    uint32_t type = 0;
    if (MSGOBJ_GetItemType(msg, record, item, &type) != 0) {
        uint32_t err = MSGOBJ_GetLastError(msg);
        return static_cast<int32_t>(err != 0 ? err : TVN_OM_ERR_NO_ITEM);
    }
    if (type != MSGOBJ_ITEM_TYPE_STRING) return static_cast<int32_t>(MSGOBJ_ERR_TYPE);
    char* text = nullptr;
    uint32_t length = 0;
    MSGOBJ_GetItemString(msg, record, item, &text, &length);
    if (MSGOBJ_GetLastError(msg) != 0 || text == nullptr) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, static_cast<int32_t>(MSGOBJ_GetLastError(msg)),
                "Get pwd error.");
        return -5;
    }
    if (length == 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, -22, "Pwd is null.");
        return -22;
    }
    out.assign(std::string_view(text, length));
    // The agent's copy goes as soon as ours exists; three passes, as the
    // platform's rules for secrets in shared buffers require.
    for (int pass = 0; pass < 3; ++pass) tvn::secure_zero(text, length);
    return 0;
}

int32_t tvn_send_operation(unsigned int number, unsigned long long event_id,
                           unsigned long long tenant_id, const std::string& params) {
    char text[256];
    int n = 0;
    uint32_t kind = 3;
    if (tenant_id != 0) {
        char tenant[32];
        std::snprintf(tenant, sizeof(tenant), "vStore %llu", tenant_id);
        n = std::snprintf(text, sizeof(text), "%u,%s,%s", number, tenant, params.c_str());
        kind = 104;
    } else {
        n = std::snprintf(text, sizeof(text), "%u,%s", number, params.c_str());
    }
    // Bounded formatting: a record that does not fit is refused whole, never
    // sent cut short.
    if (n < 0 || static_cast<size_t>(n) >= sizeof(text)) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, -1, "Alarm id=%llu, sprintf_s failed.", event_id);
        return -1;
    }
    int32_t rc = ALM_SendAlarm(TVN_CM_MODULE_ID, event_id, kind, text);
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Send_alarm id=%llu, info=%s.", event_id, text);
        return rc;
    }
    TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "Send_alarm id=%llu, info=%s.", event_id, text);
    return 0;
}

int32_t tvn_cm_get_local_nid(uint32_t* nid) {
    if (nid == nullptr || tvn::fail_at("GetLocalNodeId")) return -1;
    const char* env = std::getenv("TVN_NODE_ID");
    if (env == nullptr || *env == '\0') {
        *nid = 0;
        return 0;
    }
    uint32_t value = 0;
    if (!parse_u32(env, value)) return -1;
    *nid = value;
    return 0;
}
