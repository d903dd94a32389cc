#pragma once
// Reading the request items and writing the answer items of the NFS
// commands. Every read tells "not given" apart from "given but unreadable",
// because the commands answer the two differently.
#include <cstdint>
#include <string>
#include <vector>

#include "tvn_omitf_nfs_util.h"

namespace tvn_nfs {

enum item_read : int32_t {
    ITEM_READ_OK = 0,
    ITEM_READ_ABSENT = 1,  // the message has no such item
    ITEM_READ_FAILED = 2,  // present, but not readable as asked
};

// A string item. An item of another type reads as ITEM_READ_FAILED: the
// request does not say what the text was meant to be.
item_read read_text(void* msg, uint32_t item, std::string& out);
// An item that is present as a number (unsigned or enumeration). An item of
// another type reads as ITEM_READ_FAILED.
item_read read_number(void* msg, uint32_t item, uint32_t& out);
// A switch: a number that must be 0 or 1, or a boolean.
item_read read_switch(void* msg, uint32_t item, uint32_t& out);
// A number given as a number (enumeration or unsigned) or as its decimal
// text.
item_read read_decimal(void* msg, uint32_t item, uint32_t& out);

// The snapshot (93) and file-handle alignment (101) switches of a share
// create or modify, read as read_switch does; an unreadable one is logged.
item_read read_snapshot_switch(void* msg, uint32_t& out);
item_read read_fh_alignment(void* msg, uint32_t& out);

// The tenant of item 4090: absent is tenant 0; a read failure returns
// read_fail_code, a text that is not a tenant id NFS_ERR_PARAM_RANGE. The
// failures are logged under the caller's text.
int32_t read_tenant(void* msg, uint32_t& tenant, int32_t read_fail_code);

// Writes items into one record of an answer. 0, or NFS_ERR_ITEM.
int32_t write_items(void* ack, uint32_t record, const std::vector<answer_item>& items);

// Answers with one record of these items (*rsp gets the message object).
// 0, or NFS_ERR_NOMEM / NFS_ERR_ITEM with nothing answered.
int32_t answer_record(void** rsp, uint32_t size, const std::vector<answer_item>& items);

// A new message object with one record of the given operation code, or
// nullptr (logged "tvn_MSGOBJ_Create failed").
void* new_message(uint32_t items, uint64_t opcode = 0);

// A change notification: a message object with one record of the given
// operation code and item 0 the object type. nullptr when it cannot be
// made ($TVN_FAIL_AT naming "tvn_MSGOBJ_Create" makes it fail, to exercise
// that road).
void* new_notify_message(uint64_t opcode, uint32_t obj_type);

// The service's check that a tenant exists. Tenants are created and deleted
// by the platform, which already refuses commands for unknown ones; this is
// the hook for a stricter check and accepts every id.
int32_t tvn_cm_check_tenant_exist(uint32_t tenant);

}  // namespace tvn_nfs
