#include <csignal>
#include <pwd.h>
#include <sys/capability.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

#include "dpax.h"
#include "platform_init.h"
#include "service_test_util.h"
#include "tvn_noroot.h"

namespace {

using tvn_test::wait_child;

class NoRootTest : public ServiceTest {
protected:
    void set_flag() { write_text(path(TVN_CM_UNROOT_FLAG), ""); }
    void set_universal(const char* key, const char* value) {
        ASSERT_EQ(dpax_ini_write_item(TVN_CM_PRODUCT_INI, "UNROOT", key, value), 0);
    }
    std::string run_need_unroot(bool& result) {
        ::testing::internal::CaptureStdout();
        result = NeedUnroot();
        std::fflush(stdout);
        return ::testing::internal::GetCapturedStdout();
    }
};

TEST_F(NoRootTest, TheUniversalConfigurationCanKeepRoot) {
    struct row {
        const char* unroot;   // nullptr: key absent
        const char* version;  // nullptr: key absent
        bool want;
        const char* printed;
    };
    const row rows[] = {
        {nullptr, nullptr, true, ""},
        {"1", nullptr, true, ""},
        {"0", nullptr, false, "Universal config no unroot, current key:0.\n"},
        {"1", "1", true, ""},
        {"1", "2", false, "The protocol unroot version 2 don't match.\n"},
        {"yes", "01", false, "The protocol unroot version 01 don't match.\n"},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(std::string(r.unroot ? r.unroot : "-") + "/" + (r.version ? r.version : "-"));
        ::unlink(path(TVN_CM_PRODUCT_INI).c_str());
        if (r.unroot) set_universal("unroot", r.unroot);
        if (r.version) set_universal("version", r.version);
        bool result = !r.want;
        EXPECT_EQ(run_need_unroot(result), r.printed);
        EXPECT_EQ(result, r.want);
    }
}

TEST_F(NoRootTest, WithoutTheFlagOrWithAVetoRootIsKept) {
    uid_t uid = ::getuid();
    EXPECT_EQ(RemoveRoot(), 0);
    EXPECT_EQ(::getuid(), uid);
    EXPECT_TRUE(logged("Tvn_process Root start."));

    set_flag();
    set_universal("unroot", "0");
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(RemoveRoot(), 0);
    std::fflush(stdout);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Universal config no unroot, current key:0.\n");
    EXPECT_EQ(::getuid(), uid);
}

TEST_F(NoRootTest, TheModuleRecordIsThePrivilegeModule) {
    EXPECT_EQ(g_cmNoRoot.id, 1025u);
    EXPECT_STREQ(g_cmNoRoot.name, "tvn_cm");
    EXPECT_EQ(g_cmNoRoot.init, &RemoveRoot);
    EXPECT_EQ(g_cmNoRoot.attrs, nullptr);
    EXPECT_EQ(g_cmNoRoot.activate, nullptr);
    EXPECT_EQ(g_cmNoRoot.finish, nullptr);
}

bool protocol_user(struct passwd& out) {
    static std::vector<char> buf(16384);
    struct passwd* found = nullptr;
    return ::getpwnam_r(TVN_CM_PROTOCOL_USER, &out, buf.data(), buf.size(), &found) == 0 && found != nullptr;
}

TEST_F(NoRootTest, TheDropChangesUserAndKeepsExactlyTheListedCapabilities) {
    if (::geteuid() != 0) GTEST_SKIP() << "changing user needs root; this run is uid " << ::geteuid();
    struct passwd pw {};
    if (!protocol_user(pw)) {
        int rc = std::system("useradd --system --no-create-home --shell /usr/sbin/nologin " TVN_CM_PROTOCOL_USER
                             " >/dev/null 2>&1");
        if (rc != 0 || !protocol_user(pw))
            GTEST_SKIP() << "user " TVN_CM_PROTOCOL_USER " does not exist and useradd could not create it";
    }
    cap_t mine = cap_get_proc();
    cap_flag_value_t have = CAP_CLEAR;
    cap_get_flag(mine, CAP_SETUID, CAP_EFFECTIVE, &have);
    cap_free(mine);
    if (have != CAP_SET) GTEST_SKIP() << "this root has no CAP_SETUID (restricted container)";

    set_flag();
    std::fflush(stdout);
    pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        // Exit codes name the first check that failed.
        if (RemoveRoot() != 0) _exit(10);
        if (::getuid() != pw.pw_uid || ::geteuid() != pw.pw_uid) _exit(11);
        if (::getgid() != pw.pw_gid || ::getegid() != pw.pw_gid) _exit(12);
        gid_t groups[8];
        int n = ::getgroups(8, groups);
        if (n != 1 || groups[0] != pw.pw_gid) _exit(13);
        if (::prctl(PR_GET_DUMPABLE) != 1) _exit(14);
        cap_t caps = cap_get_proc();
        for (cap_value_t c = 0; c <= CAP_LAST_CAP; ++c) {
            bool listed = false;
            for (int i = 0; i < TVN_CM_USER_CAPS_NUM; ++i) listed = listed || TVN_CM_USER_CAPS[i] == c;
            for (cap_flag_t set : {CAP_PERMITTED, CAP_EFFECTIVE, CAP_INHERITABLE}) {
                cap_flag_value_t v = CAP_CLEAR;
                cap_get_flag(caps, c, set, &v);
                if ((v == CAP_SET) != listed) _exit(20 + static_cast<int>(set));
            }
        }
        cap_free(caps);
        // Back to root is no longer possible.
        if (::setuid(0) == 0) _exit(15);
        std::fflush(stdout);
        _exit(0);
    }
    int status = 0;
    ASSERT_TRUE(wait_child(pid, status)) << "the child did not end";
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_TRUE(logged("TVN_NOROOT: VantorProtocolUser uid:" + std::to_string(pw.pw_uid) +
                       " gid:" + std::to_string(pw.pw_gid)));
    EXPECT_TRUE(logged("TVN_NOROOT: Init drop root to set capability successfully."));
    EXPECT_TRUE(logged("Tvn_process No Root start."));
}

}  // namespace
