#pragma once
// Base of the NFS command classes: the common command base, plus the store
// client every NFS command makes the same way and what every share and
// permission command reads the same way (a share named by identifier or by
// name).
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>

#include "common/tvn_omitf_command.h"
#include "common/tvn_query_cond.h"
#include "tvn_cm_ombase.h"
#include "tvn_cm_util.h"
#include "tvn_log.h"
#include "tvn_msgobj.h"
#include "tvn_omitf_nfs_items.h"
#include "tvn_omitf_nfs_lookup.h"
#include "tvn_omitf_nfs_util.h"
#include "tvn_store_nfs_api.h"

namespace tvn_nfs {

// A share as a request names it: item 1 (its identifier) or, without it,
// item 64 (its name).
struct share_ref {
    uint64_t id = 0;
    std::string name;
    bool by_name = false;
};

// Reads item 1, else item 64. -14074 when item 1 is not an identifier or
// neither item is given; empty_name_code (when non-zero) for an empty name.
int32_t read_share_ref(const tvn::log_here& here, void* msg, share_ref& ref, int32_t empty_name_code);
// Turns a share named by name into its identifier (-14020 on failure).
int32_t resolve_share_ref(const tvn::log_here& here, tvn_store_nfs_api& api, uint32_t tenant, share_ref& ref);
// The share as the operator named it, for the operation log.
std::string share_ref_oplog(const share_ref& ref);

// The audit-log file-system check a share delete and modify run before the
// store call. Audit logs of a file system live in shares, and removing or
// changing a share never needs their consent: the check only records that
// the feature is off, and returns 0.
int32_t audit_log_fs_check(const tvn::log_here& here);

using tvn_omitf::page_request;

}  // namespace tvn_nfs

template <class Derived>
class tvn_omitf_nfs_command : public tvn_omitf_command<Derived> {
public:
    using tvn_omitf_command<Derived>::tvn_omitf_command;

protected:
    // The store client of this command, or nullptr (logged).
    std::unique_ptr<tvn_store_nfs_api> open_store() {
        auto api = tvn_nfs::new_store_api();
        if (!api)
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, tvn_nfs::NFS_ERR_NOMEM, "New tvn_store_nfs_api failed.");
        return api;
    }

    // One call of the store, named by its method for the log.
    template <class Req, class Rsp>
    int32_t call_store(tvn_store_nfs_api& api, int32_t (tvn_store_nfs_api::*method)(const Req&, Rsp&, uint32_t),
                       const char* method_name, const Req& request, Rsp& reply) {
        return this->call(api, method, method_name, request, reply, tvn_nfs::NFS_STORE_TIMEOUT_MS);
    }

    // Range, sort and cursor of a list request (-5 for a malformed range or
    // sort, -14074 for a bad cursor).
    int32_t read_page(void* req, const char* cursor_name, std::string& text, tvn_nfs::page_request& page) {
        return tvn_omitf_command<Derived>::read_page(req, cursor_name, tvn_nfs::NFS_ERR_PARAM_RANGE,
                                                     tvn_nfs::NFS_ERR_SHARE_ID, text, page);
    }

    // The tenant of item 4090 (read_fail_code when unreadable, -5 for text
    // that is not a tenant id), logged at this command's own sites.
    int32_t read_tenant(void* req, uint32_t& tenant, int32_t read_fail_code) {
        return tvn_omitf::item_reader(req).tenant(
            tenant, TVN_OM_FAIL(read_fail_code, "Get tenantid is failed."),
            TVN_OM_FAIL(tvn_nfs::NFS_ERR_PARAM_RANGE, "Tenant id str invalid."));
    }
};
