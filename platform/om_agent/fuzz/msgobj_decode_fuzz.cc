// libFuzzer target: any bytes into MSGOBJ_Decode. A decoded object must
// re-encode to bytes that decode to the same object, and every item it
// holds must be readable with the type it reports.
#include <cstddef>
#include <cstdint>
#include <string>

#include <google/protobuf/stubs/logging.h>

#include "tvn_msgobj.h"

namespace {

void check(bool ok) {
    if (!ok) __builtin_trap();
}

void read_every_item(void* obj) {
    uint32_t records = MSGOBJ_GetRecordNum(obj);
    check(records > 0);
    for (uint32_t r = 0; r < records; ++r) {
        uint32_t count = 0;
        check(MSGOBJ_GetItemNum(obj, r, &count) == 0);
        for (uint32_t i = 0; i < count; ++i) {
            uint32_t id = 0, type = 0;
            check(MSGOBJ_GetItemIdByIndex(obj, r, i, &id) == 0);
            check(MSGOBJ_GetItemType(obj, r, id, &type) == 0);
            char* text = nullptr;
            uint32_t u = 0;
            bool b = false;
            switch (type) {
                case MSGOBJ_ITEM_TYPE_STRING:
                case MSGOBJ_ITEM_TYPE_STRING8: check(MSGOBJ_GetItemString(obj, r, id, &text, &u) == 0); break;
                case MSGOBJ_ITEM_TYPE_UNSIGNED: check(MSGOBJ_GetItemUnsigned(obj, r, id, &u) == 0); break;
                case MSGOBJ_ITEM_TYPE_BOOL: check(MSGOBJ_GetItemBool(obj, r, id, &b) == 0); break;
                case MSGOBJ_ITEM_TYPE_ENUM: check(MSGOBJ_GetItemEnum(obj, r, id, &u) == 0); break;
                default: check(false);
            }
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    google::protobuf::SetLogHandler(nullptr);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    void* obj = nullptr;
    if (MSGOBJ_Decode(666, data, size, &obj) != 0) {
        check(obj == nullptr);
        return 0;
    }
    read_every_item(obj);
    std::string once;
    check(MSGOBJ_Encode(obj, &once) == 0);
    check(MSGOBJ_GetSize(obj) == once.size());
    void* back = nullptr;
    check(MSGOBJ_Decode(666, once.data(), once.size(), &back) == 0);
    std::string twice;
    check(MSGOBJ_Encode(back, &twice) == 0);
    check(once == twice);
    MSGOBJ_Destroy(back);
    MSGOBJ_Destroy(obj);
    return 0;
}
