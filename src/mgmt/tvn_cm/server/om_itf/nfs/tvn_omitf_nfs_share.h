#pragma once
// The NFS share commands: create, delete, get, modify, list and count.
#include <cstdint>
#include <string>

#include "tvn_omitf_nfs_command.h"

class tvn_omitf_nfs_create_share : public tvn_omitf_nfs_command<tvn_omitf_nfs_create_share> {
public:
    static constexpr const char* kName = "tvn_omitf_nfs_create_share";
    using tvn_omitf_nfs_command::tvn_omitf_nfs_command;
    void oplog_send(int result, unsigned int number) override;

private:
    int deal(void* req, void** rsp) override;

    // Kept for the operation log.
    tvn_nfs::create_share_oplog m_log;
    uint32_t m_freeze = 0;
    uint32_t m_fh_alignment = 0;
    uint32_t m_tenant = 0;
};

class tvn_omitf_nfs_delete_share : public tvn_omitf_nfs_command<tvn_omitf_nfs_delete_share> {
public:
    static constexpr const char* kName = "tvn_omitf_nfs_delete_share";
    using tvn_omitf_nfs_command::tvn_omitf_nfs_command;
    void oplog_send(int result, unsigned int number) override;

private:
    int deal(void* req, void** rsp) override;

    tvn_nfs::share_ref m_share;
    uint32_t m_tenant = 0;
};

class tvn_omitf_nfs_modify_share : public tvn_omitf_nfs_command<tvn_omitf_nfs_modify_share> {
public:
    static constexpr const char* kName = "tvn_omitf_nfs_modify_share";
    using tvn_omitf_nfs_command::tvn_omitf_nfs_command;
    void oplog_send(int result, unsigned int number) override;

private:
    int deal(void* req, void** rsp) override;

    tvn_nfs::share_ref m_share;
    uint32_t m_tenant = 0;
};

class tvn_omitf_nfs_get_share : public tvn_omitf_nfs_command<tvn_omitf_nfs_get_share> {
public:
    static constexpr const char* kName = "tvn_omitf_nfs_get_share";
    using tvn_omitf_nfs_command::tvn_omitf_nfs_command;

private:
    int deal(void* req, void** rsp) override;
};

class TvnOmitfNfsListShare : public tvn_omitf_nfs_command<TvnOmitfNfsListShare> {
public:
    static constexpr const char* kName = "TvnOmitfNfsListShare";
    using tvn_omitf_nfs_command::tvn_omitf_nfs_command;

private:
    int deal(void* req, void** rsp) override;
};

class tvn_omitf_nfs_count_share : public tvn_omitf_nfs_command<tvn_omitf_nfs_count_share> {
public:
    static constexpr const char* kName = "tvn_omitf_nfs_count_share";
    using tvn_omitf_nfs_command::tvn_omitf_nfs_command;

private:
    int deal(void* req, void** rsp) override;
};
