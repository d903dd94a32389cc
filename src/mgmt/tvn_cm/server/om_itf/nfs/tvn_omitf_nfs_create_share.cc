#include <limits>

#include "platform_init.h"
#include "talvane_store_nfs.pb.h"
#include "tvn_cm_util.h"
#include "tvn_msgobj.h"
#include "tvn_omitf_nfs_lookup.h"
#include "tvn_omitf_nfs_share.h"
#include "tvn_store_nfs_api.h"

using namespace tvn_nfs;

int tvn_omitf_nfs_create_share::deal(void* req, void** rsp) {
    tvn_nfs_add_share_req add;
    add.set_tenant_id(0);
    add.set_alias("");
    add.set_fsid(std::numeric_limits<uint64_t>::max());
    add.set_charset_id(0);
    add.set_lock_strategy(0);
    add.set_comment("");
    add.set_audit_item(0);
    add.set_snapshot_switch(0);
    add.set_dtreeid(0);
    add.set_fhbytealignmentsupport(0);

    int32_t rc = read_tenant(req, m_tenant, NFS_ERR_ITEM);
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Set tenant ID failed.");
        return rc;
    }
    add.set_tenant_id(m_tenant);
    rc = tvn_nfs::tvn_cm_check_tenant_exist(m_tenant);
    if (rc != 0) return rc;

    tvn_omitf::item_reader in(req);
    // The file system: its identifier, or else its name.
    std::optional<uint64_t> fsid;
    rc = in.take_parsed(vocab::share_fsid, fsid, TVN_OM_FAIL(NFS_ERR_FSID, "Fsid(%s) is null or invalid."), parse_fsid);
    if (rc != 0) return rc;
    if (!fsid) {
        std::string fs_name;
        rc = in.need(vocab::share_fs_name, fs_name, TVN_OM_FAIL(NFS_ERR_FSID, "No share path in the parameters."),
                     TVN_OM_FAIL(NFS_ERR_FSID, "No share path in the parameters."));
        if (rc != 0) return rc;
        fsid = 0;
        rc = fsid_by_name(TVN_HERE, m_tenant, fs_name, *fsid);
        if (rc != 0) {
            rc = NfsConvertErrorCode(rc);
            if (rc == NFS_HYPER_PAIR_NOT_READY)
                TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Hyper pair is not ready.");
            else if (rc == NFS_HYPER_PAIR_NOT_EXIST)
                TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Hyper pair is not exist.");
            else if (rc == NFS_FS_REMOTE_COPY_ALTERNATE)
                TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "FS remotely copied data alternately.");
            return rc;
        }
    }
    add.set_fsid(*fsid);

    std::optional<uint32_t> dtree, charset, freeze;
    std::optional<std::string> description;
    std::string path;
    if ((rc = in.take_parsed(vocab::share_dtree, dtree, TVN_OM_FAIL(NFS_ERR_FSID, "DtreeId(%s) is null or invalid."),
                             parse_dec_u32)) != 0 ||
        (rc = in.need(vocab::share_path, path, TVN_OM_FAIL(NFS_ERR_NO_SHARE_PATH, "No share path in the parameters."),
                      TVN_OM_FAIL(NFS_ERR_GET_SHARE_PATH, "Get share_path is failed."))) != 0 ||
        (rc = in.take(vocab::share_description, description, TVN_OM_FAIL(NFS_ERR_ITEM, "Get description is failed."))) != 0 ||
        (rc = in.take(vocab::share_charset, charset, TVN_OM_FAIL(NFS_ERR_ITEM, "Get charset is failed."))) != 0)
        return rc;
    if (dtree) add.set_dtreeid(*dtree);
    // A share is known by its path: the path is its name too.
    add.set_path(path);
    add.set_alias(path);
    m_log.path = path;
    m_log.alias = path;
    if (description) {
        add.set_comment(*description);
        m_log.description_given = true;
    }
    if (charset) {
        add.set_charset_id(*charset);
        m_log.charset_id = *charset;
    }

    uint32_t value = 0;
    item_read got = read_fh_alignment(TVN_HERE, req, value);
    if (got == ITEM_READ_FAILED) return NFS_ERR_ITEM;
    if (got == ITEM_READ_OK) {
        add.set_fhbytealignmentsupport(value);
        m_fh_alignment = value;
    }
    got = read_snapshot_switch(TVN_HERE, req, value);
    if (got == ITEM_READ_FAILED) return NFS_ERR_ITEM;
    if (got == ITEM_READ_OK) {
        add.set_snapshot_switch(value);
        m_log.snapshot_switch = value;
    }
    rc = in.take(vocab::share_freeze, freeze, TVN_OM_FAIL(NFS_ERR_ITEM, "Get freeze switch invalied."));
    if (rc != 0) return rc;
    if (freeze) {
        add.set_freeze(*freeze);
        m_freeze = *freeze;
    }

    if (m_tenant == 0 && !TvnCmFmIsSupport("audit_log"))
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "Don't support audit log.");

    auto api = open_store();
    if (!api) return NFS_ERR_NOMEM;
    tvn_nfs_add_share_rsp reply;
    rc = prepare_notify(NFS_NOTIFY_CREATE, NFS_SHARE_OBJ_TYPE);
    if (rc != 0) return rc;
    rc = call_store(*api, &tvn_store_nfs_api::add_share, "add_share", add, reply);
    if (rc != 0) return rc;
    notify_change();

    uint64_t stored_fsid = reply.has_fsid() ? reply.fsid() : add.fsid();
    uint64_t stored_dtree = reply.has_dtreeid() ? reply.dtreeid() : add.dtreeid();
    return answer_record(rsp, NFS_MSG_ITEMS,
                         {
                             {ITEM_PATH, TYPE_STRING, add.path()},
                             {ITEM_ID, TYPE_STRING, std::to_string(reply.share_id())},
                             {ITEM_DTREE, TYPE_STRING, dtree_at_fsid(stored_dtree, stored_fsid)},
                             {ITEM_DESCRIPTION, TYPE_STRING, ""},
                             {ITEM_FSID, TYPE_STRING, std::to_string(stored_fsid)},
                             {ITEM_OBJ_TYPE, TYPE_UNSIGNED, std::to_string(NFS_SHARE_OBJ_TYPE)},
                             {ITEM_TENANT, TYPE_UNSIGNED, "0"},
                         });
}

void tvn_omitf_nfs_create_share::oplog_send(int result, unsigned int number) {
    bool alias = TvnCmFmIsSupport("alias");
    send_oplog(number, result, alias ? OPLOG_CREATE_SHARE_ALIAS_OK : OPLOG_CREATE_SHARE_OK,
               alias ? OPLOG_CREATE_SHARE_ALIAS_FAIL : OPLOG_CREATE_SHARE_FAIL, m_tenant,
               create_share_oplog_params(m_log, alias));
}
