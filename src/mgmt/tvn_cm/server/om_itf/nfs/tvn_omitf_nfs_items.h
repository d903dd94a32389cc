#pragma once
// The item reads only the NFS commands make; every other read and the
// answer writers are the common ones of common/tvn_omitf_items.h.
#include <cstdint>
#include <span>
#include <string>

#include "common/tvn_omitf_items.h"
#include "tvn_omitf_nfs_util.h"

namespace tvn_nfs {

using tvn_omitf::answer_record;
using tvn_omitf::item_read;
using tvn_omitf::ITEM_READ_ABSENT;
using tvn_omitf::ITEM_READ_FAILED;
using tvn_omitf::ITEM_READ_OK;
using tvn_omitf::new_message;
using tvn_omitf::new_notify_message;
using tvn_omitf::read_decimal;
using tvn_omitf::read_number;
using tvn_omitf::read_switch;
using tvn_omitf::read_text;
using tvn_omitf::read_unsigned;
using tvn_omitf::tvn_cm_check_tenant_exist;
using tvn_omitf::write_items;

// The snapshot (93) and file-handle alignment (101) switches of a share
// create or modify, read as read_switch does; an unreadable one is logged.
item_read read_snapshot_switch(const tvn::log_here& here, void* msg, uint32_t& out);
item_read read_fh_alignment(const tvn::log_here& here, void* msg, uint32_t& out);

// The tenant of item 4090: absent is tenant 0; a read failure returns
// read_fail_code, a text that is not a tenant id NFS_ERR_PARAM_RANGE.
int32_t read_tenant(void* msg, uint32_t& tenant, int32_t read_fail_code);

// Reads the option items of a permission in the given order. Each counts
// only when given as an unsigned number (another type leaves the option as
// it is); a value outside its set is refused with its code.
int32_t read_optional_options(const tvn::log_here& here, void* req,
                              std::span<const tvn_om_vocab::item_def* const> items, auth_options& opts);

}  // namespace tvn_nfs
