#pragma once
// The user-mapping command classes: rules, a tried mapping, a name check,
// the caches, and the ACL and effective-permission display.
#include <cstdint>
#include <optional>
#include <string>

#include "tvn_omitf_usermapping_command.h"

#define TVN_UM_READER(Cls)                                   \
    class Cls : public tvn_omitf_usermapping_command<Cls> { \
    public:                                                  \
        static constexpr const char* kName = #Cls;           \
        using tvn_omitf_usermapping_command::tvn_omitf_usermapping_command; \
                                                             \
    private:                                                 \
        int deal(void* req, void** rsp) override;            \
    }

class tvn_omitf_user_mapping_add_rule : public tvn_omitf_usermapping_command<tvn_omitf_user_mapping_add_rule> {
public:
    static constexpr const char* kName = "tvn_omitf_user_mapping_add_rule";
    using tvn_omitf_usermapping_command::tvn_omitf_usermapping_command;
    void oplog_send(int result, unsigned int number) override;

private:
    int deal(void* req, void** rsp) override;

    uint32_t m_tenant = 0;
    std::string m_from, m_to;
    uint32_t m_type = tvn_usermapping::UM_TYPE_DEFAULT;
    uint32_t m_priority = tvn_usermapping::UM_DEFAULT_PRIORITY;
};

class tvn_omitf_user_mapping_modify_rule
    : public tvn_omitf_usermapping_command<tvn_omitf_user_mapping_modify_rule> {
public:
    static constexpr const char* kName = "tvn_omitf_user_mapping_modify_rule";
    static constexpr const char* kTenantText = "ModifyRule: TenantId is invalid, TenantId:%s.";
    using tvn_omitf_usermapping_command::tvn_omitf_usermapping_command;
    void oplog_send(int result, unsigned int number) override;

private:
    int deal(void* req, void** rsp) override;

    uint32_t m_tenant = 0;
    uint64_t m_id = 0;
    std::optional<std::string> m_from, m_to;
    std::optional<uint32_t> m_type, m_priority;
};

class tvn_omitf_user_mapping_delete_rule
    : public tvn_omitf_usermapping_command<tvn_omitf_user_mapping_delete_rule> {
public:
    static constexpr const char* kName = "tvn_omitf_user_mapping_delete_rule";
    static constexpr const char* kTenantText = "DeleteRule: TenantId is invalid, TenantId:%s.";
    using tvn_omitf_usermapping_command::tvn_omitf_usermapping_command;
    void oplog_send(int result, unsigned int number) override;

private:
    int deal(void* req, void** rsp) override;

    uint32_t m_tenant = 0;
    uint64_t m_id = 0;
    bool m_id_read = false;
};

class tvn_omitf_user_mapping_count_rule
    : public tvn_omitf_usermapping_command<tvn_omitf_user_mapping_count_rule> {
public:
    static constexpr const char* kName = "tvn_omitf_user_mapping_count_rule";
    static constexpr const char* kTenantText = "CountRule: TenantId is invalid, TenantId:%s.";
    using tvn_omitf_usermapping_command::tvn_omitf_usermapping_command;

private:
    int deal(void* req, void** rsp) override;
};

class tvn_omitf_user_mapping_clear_cache
    : public tvn_omitf_usermapping_command<tvn_omitf_user_mapping_clear_cache> {
public:
    static constexpr const char* kName = "tvn_omitf_user_mapping_clear_cache";
    using tvn_omitf_usermapping_command::tvn_omitf_usermapping_command;
    void oplog_send(int result, unsigned int number) override;

private:
    int deal(void* req, void** rsp) override;

    uint32_t m_tenant = 0;
    std::string m_what = "all";
};

TVN_UM_READER(tvn_omitf_user_mapping_show_rule);
TVN_UM_READER(tvn_omitf_user_mapping_list_rule);
TVN_UM_READER(tvn_omitf_user_mapping_do_mapping);
TVN_UM_READER(tvn_omitf_user_mapping_verify);
TVN_UM_READER(tvn_omitf_winuser_mapping_get_cache);
TVN_UM_READER(tvn_omitf_unixuser_mapping_get_cache);
TVN_UM_READER(tvn_omitf_user_mapping_get_acl_info);
TVN_UM_READER(TvnOmitfUserMappingGetEffectivePerm);

#undef TVN_UM_READER
