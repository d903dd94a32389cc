#pragma once
// OM message objects of the OM agent library (stand-in).
//
// A message object is a list of records; a record has an operation code and
// numbered items, each of one of five types. Objects travel encoded as an
// OmMessage of om_agent.proto. An object is not thread-safe: one command,
// one thread.
//
// Every item call leaves its result in the object's last error (0 on
// success), which MSGOBJ_GetLastError reads back; the calls also return it.
#include <cstddef>
#include <cstdint>
#include <string>

// Item types as reported by MSGOBJ_GetItemType.
inline constexpr uint32_t MSGOBJ_ITEM_TYPE_STRING = 2;
inline constexpr uint32_t MSGOBJ_ITEM_TYPE_UNSIGNED = 3;
inline constexpr uint32_t MSGOBJ_ITEM_TYPE_BOOL = 5;
inline constexpr uint32_t MSGOBJ_ITEM_TYPE_ENUM = 6;
inline constexpr uint32_t MSGOBJ_ITEM_TYPE_STRING8 = 8;

// Error codes of the library.
inline constexpr uint32_t MSGOBJ_ERR_PARAM = 0x3000001;      // no object, or an argument missing
inline constexpr uint32_t MSGOBJ_ERR_NO_RECORD = 0x3000002;  // record index beyond the last record
inline constexpr uint32_t MSGOBJ_ERR_NO_ITEM = 0x3000003;    // no such item in the record
inline constexpr uint32_t MSGOBJ_ERR_TYPE = 0x3000004;       // item present with another type
inline constexpr uint32_t MSGOBJ_ERR_DECODE = 0x3000005;     // bytes are not a valid message
inline constexpr uint32_t MSGOBJ_ERR_NOMEM = 0x3000006;      // allocation failed
inline constexpr uint32_t MSGOBJ_ERR_ENCODE = 0x3000007;     // object cannot be serialised

// A new object with record_num records (operation code 0, no items).
// item_num is the capacity hint of the platform's interface; items are not
// limited by it. nullptr when the allocation fails.
void* MSGOBJ_Create(uint32_t record_num, uint32_t item_num);
void MSGOBJ_Destroy(void* obj);

// Decodes an OmMessage into a new object (*obj; the caller destroys it).
// Fails with MSGOBJ_ERR_DECODE when the bytes are not a valid OmMessage,
// when it has no record, when an item carries no value or when an item id
// repeats within a record. module is the caller's process number.
uint32_t MSGOBJ_Decode(uint32_t module, const void* data, size_t length, void** obj);
// Encodes the object as an OmMessage into *out.
uint32_t MSGOBJ_Encode(const void* obj, std::string* out);
// Size in bytes of the encoded object (0 without an object).
size_t MSGOBJ_GetSize(const void* obj);

uint32_t MSGOBJ_GetRecordNum(const void* obj);
uint32_t MSGOBJ_GetOpcode(void* obj, uint32_t record, uint64_t* opcode);
// Sets a record's operation code; records up to the index are added.
uint32_t MSGOBJ_SetOpcode(void* obj, uint32_t record, uint64_t opcode);

// Number of items of a record and the id of the index-th one, in the
// order they were added or decoded.
uint32_t MSGOBJ_GetItemNum(void* obj, uint32_t record, uint32_t* count);
uint32_t MSGOBJ_GetItemIdByIndex(void* obj, uint32_t record, uint32_t index, uint32_t* item);

uint32_t MSGOBJ_GetItemType(void* obj, uint32_t record, uint32_t item, uint32_t* type);

// Setters replace an item of the same id (whatever its type) or add it;
// records up to the index are added.
uint32_t MSGOBJ_SetItemString(void* obj, uint32_t record, uint32_t item, const char* value);
uint32_t MSGOBJ_SetItemString8(void* obj, uint32_t record, uint32_t item, const char* value);
uint32_t MSGOBJ_SetItemUnsigned(void* obj, uint32_t record, uint32_t item, uint32_t value);
uint32_t MSGOBJ_SetItemBool(void* obj, uint32_t record, uint32_t item, bool value);
uint32_t MSGOBJ_SetItemEnum(void* obj, uint32_t record, uint32_t item, uint32_t value);

// Reads a string item (type 2 or 8). *value points into the object's own
// buffer of *length bytes (NUL-terminated), valid until the item or the
// object changes; a caller may wipe it in place. length may be nullptr.
uint32_t MSGOBJ_GetItemString(void* obj, uint32_t record, uint32_t item, char** value,
                              uint32_t* length);
uint32_t MSGOBJ_GetItemUnsigned(void* obj, uint32_t record, uint32_t item, uint32_t* value);
uint32_t MSGOBJ_GetItemBool(void* obj, uint32_t record, uint32_t item, bool* value);
uint32_t MSGOBJ_GetItemEnum(void* obj, uint32_t record, uint32_t item, uint32_t* value);

// Result of the object's last call (MSGOBJ_ERR_PARAM without an object).
uint32_t MSGOBJ_GetLastError(const void* obj);
void MSGOBJ_ClearLastError(void* obj);
