#include "tvn_omitf_nfs_items.h"

#include "tvn_cm_util.h"
#include "tvn_fault.h"
#include "tvn_log.h"
#include "tvn_msgobj.h"

namespace tvn_nfs {

namespace {

constexpr uint32_t kRecord = 0;

bool item_type(void* msg, uint32_t item, uint32_t& type) {
    return MSGOBJ_GetItemType(msg, kRecord, item, &type) == 0;
}

}  // namespace

item_read read_text(void* msg, uint32_t item, std::string& out) {
    uint32_t type = 0;
    if (!item_type(msg, item, type)) return ITEM_READ_ABSENT;
    if (type != TYPE_STRING && type != TYPE_STRING8) return ITEM_READ_FAILED;
    std::string text;
    int32_t rc = tvn_cm_util::get_item_from_msg(msg, kRecord, item, text);
    if (rc == static_cast<int32_t>(TVN_OM_ERR_NO_ITEM)) return ITEM_READ_ABSENT;
    if (rc != 0) return ITEM_READ_FAILED;
    out = std::move(text);
    return ITEM_READ_OK;
}

item_read read_number(void* msg, uint32_t item, uint32_t& out) {
    uint32_t type = 0;
    if (!item_type(msg, item, type)) return ITEM_READ_ABSENT;
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

item_read read_switch(void* msg, uint32_t item, uint32_t& out) {
    uint32_t type = 0;
    if (!item_type(msg, item, type)) return ITEM_READ_ABSENT;
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
    if (!item_type(msg, item, type)) return ITEM_READ_ABSENT;
    if (type != TYPE_STRING && type != TYPE_STRING8) return read_number(msg, item, out);
    std::string text;
    item_read rc = read_text(msg, item, text);
    if (rc != ITEM_READ_OK) return rc;
    uint32_t value = 0;
    if (!parse_dec_u32(text, value)) return ITEM_READ_FAILED;
    out = value;
    return ITEM_READ_OK;
}

item_read read_snapshot_switch(void* msg, uint32_t& out) {
    item_read got = read_switch(msg, ITEM_SNAPSHOT, out);
    if (got == ITEM_READ_FAILED)
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_ITEM, "Get snapshot switch invalied.");
    return got;
}

item_read read_fh_alignment(void* msg, uint32_t& out) {
    item_read got = read_switch(msg, ITEM_FH_ALIGN, out);
    if (got == ITEM_READ_FAILED) {
        uint32_t shown = 0;
        read_number(msg, ITEM_FH_ALIGN, shown);
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_ITEM, "Get fhSwitch invalied, val:(%u).", shown);
    }
    return got;
}

int32_t read_tenant(void* msg, uint32_t& tenant, int32_t read_fail_code) {
    std::string text;
    switch (read_text(msg, ITEM_TENANT, text)) {
        case ITEM_READ_ABSENT:
            tenant = 0;
            return 0;
        case ITEM_READ_FAILED:
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, read_fail_code, "Get tenantid is failed.");
            return read_fail_code;
        case ITEM_READ_OK:
            break;
    }
    uint32_t value = 0;
    if (!parse_tenant_id(text, value)) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_PARAM_RANGE, "Tenant id str invalid.");
        return NFS_ERR_PARAM_RANGE;
    }
    tenant = value;
    return 0;
}

int32_t write_items(void* ack, uint32_t record, const std::vector<answer_item>& items) {
    for (const auto& it : items) {
        if (tvn_cm_util::add_item_to_msg(ack, record, it.value, it.id, it.type) != 0) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_ITEM, "Add item(%u) to ack failed.", it.id);
            return NFS_ERR_ITEM;
        }
    }
    return 0;
}

void* new_message(uint32_t items, uint64_t opcode) {
    void* msg = MSGOBJ_Create(NFS_MSG_RECORDS, items);
    if (msg == nullptr) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_NOMEM, "tvn_MSGOBJ_Create failed");
        return nullptr;
    }
    if (opcode != 0) MSGOBJ_SetOpcode(msg, kRecord, opcode);
    return msg;
}

int32_t answer_record(void** rsp, uint32_t size, const std::vector<answer_item>& items) {
    void* ack = new_message(size);
    if (ack == nullptr) return NFS_ERR_NOMEM;
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
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_NOMEM, "tvn_MSGOBJ_Create failed");
        return nullptr;
    }
    void* msg = new_message(NFS_MSG_ITEMS, opcode);
    if (msg == nullptr) return nullptr;
    if (write_items(msg, kRecord, {{ITEM_OBJ_TYPE, TYPE_UNSIGNED, std::to_string(obj_type)}}) != 0) {
        MSGOBJ_Destroy(msg);
        return nullptr;
    }
    return msg;
}

int32_t tvn_cm_check_tenant_exist(uint32_t /*tenant*/) { return 0; }

}  // namespace tvn_nfs
