#pragma once
// The NFS client permission commands: create, delete, get, modify, list and
// count.
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "tvn_omitf_nfs_command.h"

namespace tvn_nfs {

// The client and share of a permission, for the operation log of a change
// that names the permission by its id.
struct auth_client {
    std::string name;
    uint64_t share_id = 0;
};
// Asks the store for the client and share of a permission. A permission the
// store cannot show leaves `out` empty: the command itself then reports why.
void name_auth_for_oplog(tvn_store_nfs_api& api, uint32_t tenant, uint64_t auth_id, auth_client& out);
// "client,share id" as create writes them, or the permission id when the
// client is not known.
std::string auth_oplog(const auth_client& client, uint64_t auth_id);


}  // namespace tvn_nfs

class tvn_omitf_nfs_create_auth : public tvn_omitf_nfs_command<tvn_omitf_nfs_create_auth> {
public:
    static constexpr const char* kName = "tvn_omitf_nfs_create_auth";
    using tvn_omitf_nfs_command::tvn_omitf_nfs_command;
    void oplog_send(int result, unsigned int number) override;

    // The permission the store made, for the notification and the audit.
    void set_auth_id(uint64_t auth_id) { m_auth_id = auth_id; }
    // The access the permission grants ("ro", "rw" or "na"), as the audit
    // of permission changes records it.
    std::string AuditGetPermissionType() const;

private:
    int deal(void* req, void** rsp) override;

    uint32_t m_tenant = 0;
    uint64_t m_auth_id = 0;
    uint64_t m_share_id = 0;
    std::string m_access_name;
    tvn_nfs::auth_options m_opts;
};

class tvn_omitf_nfs_delete_auth : public tvn_omitf_nfs_command<tvn_omitf_nfs_delete_auth> {
public:
    static constexpr const char* kName = "tvn_omitf_nfs_delete_auth";
    using tvn_omitf_nfs_command::tvn_omitf_nfs_command;
    void oplog_send(int result, unsigned int number) override;

private:
    int deal(void* req, void** rsp) override;

    uint32_t m_tenant = 0;
    uint64_t m_auth_id = 0;
    std::string m_access_name;
    std::string m_share_name;
    tvn_nfs::auth_client m_client;
};

class tvn_omitf_nfs_modify_auth : public tvn_omitf_nfs_command<tvn_omitf_nfs_modify_auth> {
public:
    static constexpr const char* kName = "tvn_omitf_nfs_modify_auth";
    using tvn_omitf_nfs_command::tvn_omitf_nfs_command;
    void oplog_send(int result, unsigned int number) override;

private:
    int deal(void* req, void** rsp) override;

    uint32_t m_tenant = 0;
    uint64_t m_auth_id = 0;
    std::string m_options;
    tvn_nfs::auth_client m_client;
};

class tvn_omitf_nfs_get_auth : public tvn_omitf_nfs_command<tvn_omitf_nfs_get_auth> {
public:
    static constexpr const char* kName = "tvn_omitf_nfs_get_auth";
    using tvn_omitf_nfs_command::tvn_omitf_nfs_command;

private:
    int deal(void* req, void** rsp) override;
};

class TvnOmitfNfsListAuth : public tvn_omitf_nfs_command<TvnOmitfNfsListAuth> {
public:
    static constexpr const char* kName = "TvnOmitfNfsListAuth";
    using tvn_omitf_nfs_command::tvn_omitf_nfs_command;

private:
    int deal(void* req, void** rsp) override;
};

class tvn_omitf_nfs_count_auth : public tvn_omitf_nfs_command<tvn_omitf_nfs_count_auth> {
public:
    static constexpr const char* kName = "tvn_omitf_nfs_count_auth";
    using tvn_omitf_nfs_command::tvn_omitf_nfs_command;

private:
    int deal(void* req, void** rsp) override;
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
// The condition item (22) of the permission list and count; absent leaves
// `out` as it is. `text` gets the item's text. 0 or -14082.
int32_t read_auth_filter(void* msg, std::string& text, auth_filter& out);

// Copies the conditions the list and count requests share into one of them.
template <class Req>
void set_auth_filter(const auth_filter& filter, Req& req) {
    req.set_hostname(filter.hostname);
    req.set_path(filter.path);
    if (filter.share_id) req.set_share_id(*filter.share_id);
    if (filter.options) req.set_options(*filter.options);
}

}  // namespace tvn_nfs
