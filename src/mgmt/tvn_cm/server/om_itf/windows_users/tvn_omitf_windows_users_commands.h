#pragma once
// Handler classes of the local Windows user, group, membership and account
// policy commands, by the names the command table registers them under.
#include "tvn_omitf_windows_user_util.h"

class TvnOmitfWindowsCreateUser : public tvn_omitf_windows_command<TvnOmitfWindowsCreateUser> {
public:
    static constexpr const char* kName = "TvnOmitfWindowsCreateUser";
    using tvn_omitf_windows_command::tvn_omitf_windows_command;

private:
    int deal(void* req, void** rsp) override;
};

class TvnOmitfWindowsModifyUser : public tvn_omitf_windows_command<TvnOmitfWindowsModifyUser> {
public:
    static constexpr const char* kName = "TvnOmitfWindowsModifyUser";
    using tvn_omitf_windows_command::tvn_omitf_windows_command;

private:
    int deal(void* req, void** rsp) override;
};

class TvnOmitfWindowsDeleteUser : public tvn_omitf_windows_command<TvnOmitfWindowsDeleteUser> {
public:
    static constexpr const char* kName = "TvnOmitfWindowsDeleteUser";
    using tvn_omitf_windows_command::tvn_omitf_windows_command;

private:
    int deal(void* req, void** rsp) override;
};

class TvnOmitfWindowsQueryUser : public tvn_omitf_windows_command<TvnOmitfWindowsQueryUser> {
public:
    static constexpr const char* kName = "TvnOmitfWindowsQueryUser";
    using tvn_omitf_windows_command::tvn_omitf_windows_command;

private:
    int deal(void* req, void** rsp) override;
};

class TvnOmitfWindowsListUser : public tvn_omitf_windows_command<TvnOmitfWindowsListUser> {
public:
    static constexpr const char* kName = "TvnOmitfWindowsListUser";
    using tvn_omitf_windows_command::tvn_omitf_windows_command;

private:
    int deal(void* req, void** rsp) override;
};

class CmOmitfWindowsCountUser : public tvn_omitf_windows_command<CmOmitfWindowsCountUser> {
public:
    static constexpr const char* kName = "CmOmitfWindowsCountUser";
    using tvn_omitf_windows_command::tvn_omitf_windows_command;

private:
    int deal(void* req, void** rsp) override;
};

class TvnOmitfWindowsCreateGroup : public tvn_omitf_windows_command<TvnOmitfWindowsCreateGroup> {
public:
    static constexpr const char* kName = "TvnOmitfWindowsCreateGroup";
    using tvn_omitf_windows_command::tvn_omitf_windows_command;

private:
    int deal(void* req, void** rsp) override;
};

class TvnOmitfWindowsModifyGroup : public tvn_omitf_windows_command<TvnOmitfWindowsModifyGroup> {
public:
    static constexpr const char* kName = "TvnOmitfWindowsModifyGroup";
    using tvn_omitf_windows_command::tvn_omitf_windows_command;

private:
    int deal(void* req, void** rsp) override;
};

class TvnOmitfWindowsDeleteGroup : public tvn_omitf_windows_command<TvnOmitfWindowsDeleteGroup> {
public:
    static constexpr const char* kName = "TvnOmitfWindowsDeleteGroup";
    using tvn_omitf_windows_command::tvn_omitf_windows_command;

private:
    int deal(void* req, void** rsp) override;
};

class TvnOmitfWindowsGetGroup : public tvn_omitf_windows_command<TvnOmitfWindowsGetGroup> {
public:
    static constexpr const char* kName = "TvnOmitfWindowsGetGroup";
    using tvn_omitf_windows_command::tvn_omitf_windows_command;

private:
    int deal(void* req, void** rsp) override;
};

class TvnOmitfWindowsListGroup : public tvn_omitf_windows_command<TvnOmitfWindowsListGroup> {
public:
    static constexpr const char* kName = "TvnOmitfWindowsListGroup";
    using tvn_omitf_windows_command::tvn_omitf_windows_command;

private:
    int deal(void* req, void** rsp) override;
};

class TvnOmitfWindowsCountGroup : public tvn_omitf_windows_command<TvnOmitfWindowsCountGroup> {
public:
    static constexpr const char* kName = "TvnOmitfWindowsCountGroup";
    using tvn_omitf_windows_command::tvn_omitf_windows_command;

private:
    int deal(void* req, void** rsp) override;
};

class TvnOmitfWindowsAddGroupMember : public tvn_omitf_windows_command<TvnOmitfWindowsAddGroupMember> {
public:
    static constexpr const char* kName = "TvnOmitfWindowsAddGroupMember";
    using tvn_omitf_windows_command::tvn_omitf_windows_command;

private:
    int deal(void* req, void** rsp) override;
};

class TvnOmitfWindowsRemoveGroupMember : public tvn_omitf_windows_command<TvnOmitfWindowsRemoveGroupMember> {
public:
    static constexpr const char* kName = "TvnOmitfWindowsRemoveGroupMember";
    using tvn_omitf_windows_command::tvn_omitf_windows_command;

private:
    int deal(void* req, void** rsp) override;
};

class TvnOmitfWindowsQueryGroupMember : public tvn_omitf_windows_command<TvnOmitfWindowsQueryGroupMember> {
public:
    static constexpr const char* kName = "TvnOmitfWindowsQueryGroupMember";
    using tvn_omitf_windows_command::tvn_omitf_windows_command;

private:
    int deal(void* req, void** rsp) override;
};

class CmOmitfWindowsCountGroupMember : public tvn_omitf_windows_command<CmOmitfWindowsCountGroupMember> {
public:
    static constexpr const char* kName = "CmOmitfWindowsCountGroupMember";
    using tvn_omitf_windows_command::tvn_omitf_windows_command;

private:
    int deal(void* req, void** rsp) override;
};

class TvnOmitfSetWindowsUserSecurityPolicy : public tvn_omitf_windows_command<TvnOmitfSetWindowsUserSecurityPolicy> {
public:
    static constexpr const char* kName = "TvnOmitfSetWindowsUserSecurityPolicy";
    using tvn_omitf_windows_command::tvn_omitf_windows_command;

private:
    int deal(void* req, void** rsp) override;
};

class TvnOmitfGetWindowsUserSecurityPolicy : public tvn_omitf_windows_command<TvnOmitfGetWindowsUserSecurityPolicy> {
public:
    static constexpr const char* kName = "TvnOmitfGetWindowsUserSecurityPolicy";
    using tvn_omitf_windows_command::tvn_omitf_windows_command;

private:
    int deal(void* req, void** rsp) override;
};
