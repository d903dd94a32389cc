#include "tvn_msgobj.h"

#include <algorithm>
#include <limits>
#include <new>
#include <vector>

#include "tvn_msgobj_internal.h"

namespace {

// Tags objects handed out as void*, so a stray pointer is refused instead of
// being read as an object.
constexpr uint32_t kObjectMagic = 0x4f4d4f42;  // "OMOB"

struct msg_object {
    uint32_t magic = kObjectMagic;
    uint32_t last_error = 0;
    OmMessage msg;
};

msg_object* as_object(void* obj) {
    auto* o = static_cast<msg_object*>(obj);
    return (o != nullptr && o->magic == kObjectMagic) ? o : nullptr;
}

const msg_object* as_object(const void* obj) {
    auto* o = static_cast<const msg_object*>(obj);
    return (o != nullptr && o->magic == kObjectMagic) ? o : nullptr;
}

uint32_t fail(msg_object* o, uint32_t err) {
    if (o != nullptr) o->last_error = err;
    return err;
}

OmItem* find_item(OmRecord* rec, uint32_t id) {
    for (auto& item : *rec->mutable_item())
        if (item.id() == id) return &item;
    return nullptr;
}

// The record at an index, adding records up to it when asked to.
OmRecord* record_at(msg_object* o, uint32_t record, bool grow) {
    if (record < static_cast<uint32_t>(o->msg.record_size())) return o->msg.mutable_record(record);
    if (!grow) return nullptr;
    // An index far beyond the last record is a caller's mistake, not a
    // reason to allocate gigabytes.
    constexpr uint32_t kMaxRecords = 1u << 20;
    if (record >= kMaxRecords) return nullptr;
    while (static_cast<uint32_t>(o->msg.record_size()) <= record) o->msg.add_record()->set_opcode(0);
    return o->msg.mutable_record(record);
}

uint32_t type_of(const OmItem& item) {
    switch (item.value_case()) {
        case OmItem::kStr: return MSGOBJ_ITEM_TYPE_STRING;
        case OmItem::kU32: return MSGOBJ_ITEM_TYPE_UNSIGNED;
        case OmItem::kFlag: return MSGOBJ_ITEM_TYPE_BOOL;
        case OmItem::kEnumeration: return MSGOBJ_ITEM_TYPE_ENUM;
        case OmItem::kStr8: return MSGOBJ_ITEM_TYPE_STRING8;
        default: return 0;
    }
}

// Finds an item for reading; sets the last error on every path.
OmItem* lookup(void* obj, uint32_t record, uint32_t id, uint32_t* err) {
    msg_object* o = as_object(obj);
    if (o == nullptr) {
        *err = MSGOBJ_ERR_PARAM;
        return nullptr;
    }
    OmRecord* rec = record_at(o, record, false);
    OmItem* item = rec != nullptr ? find_item(rec, id) : nullptr;
    *err = fail(o, item != nullptr ? 0 : MSGOBJ_ERR_NO_ITEM);
    return item;
}

// Finds or adds an item for writing, with its old value cleared.
OmItem* slot(void* obj, uint32_t record, uint32_t id, uint32_t* err) {
    msg_object* o = as_object(obj);
    if (o == nullptr) {
        *err = MSGOBJ_ERR_PARAM;
        return nullptr;
    }
    OmRecord* rec = record_at(o, record, true);
    if (rec == nullptr) {
        *err = fail(o, MSGOBJ_ERR_NO_RECORD);
        return nullptr;
    }
    OmItem* item = find_item(rec, id);
    if (item == nullptr) {
        item = rec->add_item();
        item->set_id(id);
    }
    *err = fail(o, 0);
    return item;
}

}  // namespace

namespace tvn::om {

const OmMessage* msgobj_message(const void* obj) {
    const msg_object* o = as_object(obj);
    return o != nullptr ? &o->msg : nullptr;
}

bool msgobj_valid(const OmMessage& msg) {
    if (msg.record_size() == 0) return false;
    std::vector<uint32_t> ids;
    for (const auto& rec : msg.record()) {
        ids.clear();
        ids.reserve(static_cast<size_t>(rec.item_size()));
        for (const auto& item : rec.item()) {
            if (item.value_case() == OmItem::VALUE_NOT_SET) return false;
            ids.push_back(item.id());
        }
        std::sort(ids.begin(), ids.end());
        if (std::adjacent_find(ids.begin(), ids.end()) != ids.end()) return false;
    }
    return true;
}

}  // namespace tvn::om

void* MSGOBJ_Create(uint32_t record_num, uint32_t /*item_num*/) {
    auto* o = new (std::nothrow) msg_object;
    if (o == nullptr) return nullptr;
    for (uint32_t i = 0; i < record_num && i < (1u << 20); ++i) o->msg.add_record()->set_opcode(0);
    return o;
}

void MSGOBJ_Destroy(void* obj) {
    msg_object* o = as_object(obj);
    if (o == nullptr) return;
    o->magic = 0;
    delete o;
}

uint32_t MSGOBJ_Decode(uint32_t /*module*/, const void* data, size_t length, void** obj) {
    if (obj == nullptr) return MSGOBJ_ERR_PARAM;
    *obj = nullptr;
    if (data == nullptr && length != 0) return MSGOBJ_ERR_PARAM;
    if (length > static_cast<size_t>(std::numeric_limits<int>::max())) return MSGOBJ_ERR_DECODE;
    auto* o = new (std::nothrow) msg_object;
    if (o == nullptr) return MSGOBJ_ERR_NOMEM;
    // ParseFromArray also refuses a message whose required fields are
    // missing (an item without id, a record without operation code).
    if (!o->msg.ParseFromArray(data, static_cast<int>(length)) || !tvn::om::msgobj_valid(o->msg)) {
        delete o;
        return MSGOBJ_ERR_DECODE;
    }
    o->msg.DiscardUnknownFields();
    *obj = o;
    return 0;
}

uint32_t MSGOBJ_Encode(const void* obj, std::string* out) {
    const msg_object* o = as_object(obj);
    if (o == nullptr || out == nullptr) return MSGOBJ_ERR_PARAM;
    out->clear();
    return o->msg.SerializeToString(out) ? 0 : MSGOBJ_ERR_ENCODE;
}

size_t MSGOBJ_GetSize(const void* obj) {
    const msg_object* o = as_object(obj);
    return o != nullptr ? o->msg.ByteSizeLong() : 0;
}

uint32_t MSGOBJ_GetRecordNum(const void* obj) {
    const msg_object* o = as_object(obj);
    return o != nullptr ? static_cast<uint32_t>(o->msg.record_size()) : 0;
}

uint32_t MSGOBJ_GetOpcode(void* obj, uint32_t record, uint64_t* opcode) {
    msg_object* o = as_object(obj);
    if (o == nullptr || opcode == nullptr) return fail(o, MSGOBJ_ERR_PARAM);
    OmRecord* rec = record_at(o, record, false);
    if (rec == nullptr) return fail(o, MSGOBJ_ERR_NO_RECORD);
    *opcode = rec->opcode();
    return fail(o, 0);
}

uint32_t MSGOBJ_SetOpcode(void* obj, uint32_t record, uint64_t opcode) {
    msg_object* o = as_object(obj);
    if (o == nullptr) return MSGOBJ_ERR_PARAM;
    OmRecord* rec = record_at(o, record, true);
    if (rec == nullptr) return fail(o, MSGOBJ_ERR_NO_RECORD);
    rec->set_opcode(opcode);
    return fail(o, 0);
}

uint32_t MSGOBJ_GetItemNum(void* obj, uint32_t record, uint32_t* count) {
    msg_object* o = as_object(obj);
    if (o == nullptr || count == nullptr) return fail(o, MSGOBJ_ERR_PARAM);
    OmRecord* rec = record_at(o, record, false);
    if (rec == nullptr) return fail(o, MSGOBJ_ERR_NO_RECORD);
    *count = static_cast<uint32_t>(rec->item_size());
    return fail(o, 0);
}

uint32_t MSGOBJ_GetItemIdByIndex(void* obj, uint32_t record, uint32_t index, uint32_t* item) {
    msg_object* o = as_object(obj);
    if (o == nullptr || item == nullptr) return fail(o, MSGOBJ_ERR_PARAM);
    OmRecord* rec = record_at(o, record, false);
    if (rec == nullptr) return fail(o, MSGOBJ_ERR_NO_RECORD);
    if (index >= static_cast<uint32_t>(rec->item_size())) return fail(o, MSGOBJ_ERR_NO_ITEM);
    *item = rec->item(static_cast<int>(index)).id();
    return fail(o, 0);
}

uint32_t MSGOBJ_GetItemType(void* obj, uint32_t record, uint32_t item, uint32_t* type) {
    uint32_t err = 0;
    OmItem* it = lookup(obj, record, item, &err);
    if (it == nullptr) return err;
    if (type == nullptr) return fail(as_object(obj), MSGOBJ_ERR_PARAM);
    *type = type_of(*it);
    return 0;
}

uint32_t MSGOBJ_SetItemString(void* obj, uint32_t record, uint32_t item, const char* value) {
    if (value == nullptr) return fail(as_object(obj), MSGOBJ_ERR_PARAM);
    uint32_t err = 0;
    OmItem* it = slot(obj, record, item, &err);
    if (it != nullptr) it->set_str(value);
    return err;
}

uint32_t MSGOBJ_SetItemString8(void* obj, uint32_t record, uint32_t item, const char* value) {
    if (value == nullptr) return fail(as_object(obj), MSGOBJ_ERR_PARAM);
    uint32_t err = 0;
    OmItem* it = slot(obj, record, item, &err);
    if (it != nullptr) it->set_str8(value);
    return err;
}

uint32_t MSGOBJ_SetItemUnsigned(void* obj, uint32_t record, uint32_t item, uint32_t value) {
    uint32_t err = 0;
    OmItem* it = slot(obj, record, item, &err);
    if (it != nullptr) it->set_u32(value);
    return err;
}

uint32_t MSGOBJ_SetItemBool(void* obj, uint32_t record, uint32_t item, bool value) {
    uint32_t err = 0;
    OmItem* it = slot(obj, record, item, &err);
    if (it != nullptr) it->set_flag(value);
    return err;
}

uint32_t MSGOBJ_SetItemEnum(void* obj, uint32_t record, uint32_t item, uint32_t value) {
    uint32_t err = 0;
    OmItem* it = slot(obj, record, item, &err);
    if (it != nullptr) it->set_enumeration(value);
    return err;
}

uint32_t MSGOBJ_GetItemString(void* obj, uint32_t record, uint32_t item, char** value,
                              uint32_t* length) {
    uint32_t err = 0;
    OmItem* it = lookup(obj, record, item, &err);
    if (it == nullptr) return err;
    if (value == nullptr) return fail(as_object(obj), MSGOBJ_ERR_PARAM);
    std::string* text = nullptr;
    if (it->has_str())
        text = it->mutable_str();
    else if (it->has_str8())
        text = it->mutable_str8();
    else
        return fail(as_object(obj), MSGOBJ_ERR_TYPE);
    *value = text->data();
    if (length != nullptr) *length = static_cast<uint32_t>(text->size());
    return 0;
}

uint32_t MSGOBJ_GetItemUnsigned(void* obj, uint32_t record, uint32_t item, uint32_t* value) {
    uint32_t err = 0;
    OmItem* it = lookup(obj, record, item, &err);
    if (it == nullptr) return err;
    if (value == nullptr) return fail(as_object(obj), MSGOBJ_ERR_PARAM);
    if (!it->has_u32()) return fail(as_object(obj), MSGOBJ_ERR_TYPE);
    *value = it->u32();
    return 0;
}

uint32_t MSGOBJ_GetItemBool(void* obj, uint32_t record, uint32_t item, bool* value) {
    uint32_t err = 0;
    OmItem* it = lookup(obj, record, item, &err);
    if (it == nullptr) return err;
    if (value == nullptr) return fail(as_object(obj), MSGOBJ_ERR_PARAM);
    if (!it->has_flag()) return fail(as_object(obj), MSGOBJ_ERR_TYPE);
    *value = it->flag();
    return 0;
}

uint32_t MSGOBJ_GetItemEnum(void* obj, uint32_t record, uint32_t item, uint32_t* value) {
    uint32_t err = 0;
    OmItem* it = lookup(obj, record, item, &err);
    if (it == nullptr) return err;
    if (value == nullptr) return fail(as_object(obj), MSGOBJ_ERR_PARAM);
    if (!it->has_enumeration()) return fail(as_object(obj), MSGOBJ_ERR_TYPE);
    *value = it->enumeration();
    return 0;
}

uint32_t MSGOBJ_GetLastError(const void* obj) {
    const msg_object* o = as_object(obj);
    return o != nullptr ? o->last_error : MSGOBJ_ERR_PARAM;
}

void MSGOBJ_ClearLastError(void* obj) {
    msg_object* o = as_object(obj);
    if (o != nullptr) o->last_error = 0;
}
