#pragma once
// What every OM command handler shares: typed readers and writers of
// message items (values cross as text), the secure password reader, boolean
// configuration values, and the operation log.
//
// Helpers never throw. Failures return non-zero and are logged at error
// level with the message object's last error as the log's error code.
#include <cstdint>
#include <string>

#include "talvane_store_conf.pb.h"
#include "tvn_sec_string.h"

// Item ids every command shares.
inline constexpr uint32_t TVN_OM_ITEM_MSG_TYPE = 0;   // record 0 of a request; object type in answers
inline constexpr uint32_t TVN_OM_ITEM_VSTORE_ID = 4090;
// The OM agent library's "no such item": handlers read it as "not given".
inline constexpr uint32_t TVN_OM_ERR_NO_ITEM = 0x3000003;

// The service's process number, also the log and alarm module.
inline constexpr uint32_t TVN_CM_MODULE_ID = 666;

namespace tvn_cm_util {

// Writers. add_item_to_msg dispatches on the type (3 unsigned, 5 boolean,
// 6 enumeration, 2 string); any other type fails.
int32_t add_item_to_msg(void* msg, uint32_t record, const std::string& value, uint32_t item,
                        uint32_t type);
// The text must be a decimal number from 0 to 4294967295; other text is
// refused (-22) rather than written as some guessed number.
int32_t add_unsigned_item_to_msg(void* msg, uint32_t record, const std::string& value, uint32_t item);
// False exactly for the text "false".
int32_t add_bool_item_to_msg(void* msg, uint32_t record, const std::string& value, uint32_t item);
// Decimal text, as for unsigned items.
int32_t add_enum_item_to_msg(void* msg, uint32_t record, const std::string& value, uint32_t item);
int32_t add_string_item_to_msg(void* msg, uint32_t record, const std::string& value, uint32_t item);

// Readers: the value as text (unsigned and enumeration in decimal, boolean
// "true"/"false"). get_item_from_msg picks the reader by the item's type;
// an absent item returns TVN_OM_ERR_NO_ITEM.
int32_t get_item_from_msg(void* msg, uint32_t record, uint32_t item, std::string& out);
int32_t get_unsigned_item_from_msg(void* msg, uint32_t record, uint32_t item, std::string& out);
int32_t get_bool_item_from_msg(void* msg, uint32_t record, uint32_t item, std::string& out);
int32_t get_string_item_from_msg(void* msg, uint32_t record, uint32_t item, std::string& out);
int32_t get_enum_item_from_msg(void* msg, uint32_t record, uint32_t item, std::string& out);

// The tenant of a request: item 4090 of the record as a decimal string.
// Absent: tenant 0 and result 0. Read failure -1; text that is not all
// digits or beyond 32 bits -22.
int32_t get_vstore_id_from_msg(void* msg, uint32_t record, uint32_t& tenant_id);

// Operation-log event id for an operation type and a command result, from a
// table of (type, function) entries ended by an entry whose type is greater
// than 1. Every entry of that type is asked and the last one wins; no entry
// gives 0.
struct oplog_id_entry {
    uint32_t type;
    unsigned long long (*get_id)(int32_t result);
};
unsigned long long get_oplog_id(uint32_t type, int32_t result);
unsigned long long get_oplog_id(const oplog_id_entry* table, uint32_t type, int32_t result);

}  // namespace tvn_cm_util

// Reads a password (a string item) into out and wipes the message's copy.
// 0 on success; -22 for an empty password; -5 when the read fails; another
// non-zero code when the item is absent or not a string (no password given).
int32_t TvnAuthGetPassWord(void* msg, uint32_t record, uint32_t item, SecString& out);

// Writes out only when the pair's key is key: 0 for "off" or "false", 1 for
// any other value. So every pair of a tenant can be offered in turn.
template <class T>
void parse_bool_cfg_value(const std::string& key, const vstore_config_pair& pair, T& out) {
    if (pair.key() != key) return;
    out = (pair.value() == "off" || pair.value() == "false") ? T(0) : T(1);
}

// Writes one operation-log record through the alarm interface: for tenant
// 0 "number,params" as kind 3, else "number,vStore <tenant>,params" as kind
// 104. A record that does not fit in 255 characters is not sent. 0 when
// sent, else non-zero (logged).
int32_t tvn_send_operation(unsigned int number, unsigned long long event_id,
                           unsigned long long tenant_id, const std::string& params);

// Local node id ($TVN_NODE_ID, decimal, default 0). -1 when the platform
// call fails (TVN_FAIL_AT names GetLocalNodeId) or the value is not a
// number.
int32_t tvn_cm_get_local_nid(uint32_t* nid);
