#pragma once
// The NFS client permission commands: create, delete, get, modify, list and
// count.
#include <cstdint>
#include <optional>
#include <string>

#include "tvn_omitf_nfs_command.h"

class tvn_omitf_nfs_create_auth : public tvn_omitf_nfs_command<tvn_omitf_nfs_create_auth> {
public:
    using tvn_omitf_nfs_command::tvn_omitf_nfs_command;
    int ommsg_deal(void* req, void** rsp) override;
    void oplog_send(int result, unsigned int number) override;

    // The permission the store made, for the notification and the audit.
    void set_auth_id(uint64_t auth_id) { m_auth_id = auth_id; }
    // The access the permission grants ("ro", "rw" or "na"), as the audit
    // of permission changes records it.
    std::string AuditGetPermissionType() const;

private:
    int deal(void* req, void** rsp);

    uint32_t m_tenant = 0;
    uint64_t m_auth_id = 0;
    uint64_t m_share_id = 0;
    std::string m_access_name;
    tvn_nfs::auth_options m_opts;
};

class tvn_omitf_nfs_delete_auth : public tvn_omitf_nfs_command<tvn_omitf_nfs_delete_auth> {
public:
    using tvn_omitf_nfs_command::tvn_omitf_nfs_command;
    int ommsg_deal(void* req, void** rsp) override;
    void oplog_send(int result, unsigned int number) override;

private:
    int deal(void* req, void** rsp);

    uint32_t m_tenant = 0;
    uint64_t m_auth_id = 0;
    std::string m_access_name;
    std::string m_share_name;
};

class tvn_omitf_nfs_modify_auth : public tvn_omitf_nfs_command<tvn_omitf_nfs_modify_auth> {
public:
    using tvn_omitf_nfs_command::tvn_omitf_nfs_command;
    int ommsg_deal(void* req, void** rsp) override;
    void oplog_send(int result, unsigned int number) override;

private:
    int deal(void* req, void** rsp);

    uint32_t m_tenant = 0;
    uint64_t m_auth_id = 0;
    std::string m_options;
};

class tvn_omitf_nfs_get_auth : public tvn_omitf_nfs_command<tvn_omitf_nfs_get_auth> {
public:
    using tvn_omitf_nfs_command::tvn_omitf_nfs_command;
    int ommsg_deal(void* req, void** rsp) override;

private:
    int deal(void* req, void** rsp);
};

class TvnOmitfNfsListAuth : public tvn_omitf_nfs_command<TvnOmitfNfsListAuth> {
public:
    using tvn_omitf_nfs_command::tvn_omitf_nfs_command;
    int ommsg_deal(void* req, void** rsp) override;

private:
    int deal(void* req, void** rsp);
};

class tvn_omitf_nfs_count_auth : public tvn_omitf_nfs_command<tvn_omitf_nfs_count_auth> {
public:
    using tvn_omitf_nfs_command::tvn_omitf_nfs_command;
    int ommsg_deal(void* req, void** rsp) override;

private:
    int deal(void* req, void** rsp);
};

namespace tvn_nfs {

// A condition of the permission list and count ("NAME", "PARENTID",
// "SHARENAME", "ACCESSVAL", "AUTHTYPE") as the fields of their requests.
struct auth_filter {
    std::string hostname;
    std::string path;
    std::optional<uint64_t> share_id;
    std::optional<std::string> options;
    std::optional<uint32_t> auth_type;
};
// 0, -14082 for an unknown key, malformed text or a value of the wrong form.
int32_t parse_auth_filter(const std::string& text, auth_filter& out);

}  // namespace tvn_nfs
