#include "tvn_noroot.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <grp.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <unistd.h>

#include "dpax.h"
#include "platform_init.h"
#include "tvn_cm_main.h"
#include "tvn_sysroot.h"

// Printed (the service log may not be open yet) and logged with the family's prefix.
#define NOROOT_MSG(level, err_code, fmt, ...)                                                  \
    do {                                                                                       \
        std::printf(fmt "\n", ##__VA_ARGS__);                                                  \
        TVN_CM_EARLY_LOG(TVN_LOG_MODULE_COMM, level, err_code, "TVN_NOROOT: " fmt, ##__VA_ARGS__); \
    } while (0)

const cap_value_t TVN_CM_USER_CAPS[] = {
    CAP_CHOWN,     CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH, CAP_FOWNER,   CAP_FSETID,
    CAP_NET_ADMIN, CAP_NET_RAW,      CAP_IPC_LOCK,        CAP_SYS_NICE,
};
const int TVN_CM_USER_CAPS_NUM = static_cast<int>(sizeof(TVN_CM_USER_CAPS) / sizeof(TVN_CM_USER_CAPS[0]));

namespace {
int32_t spare() { return 0; }
int32_t spare_arg(void*) { return 0; }
}  // namespace

ps_module g_cmNoRoot = {
    1025, "tvn_cm", nullptr, RemoveRoot, nullptr, nullptr, spare, spare_arg, nullptr, nullptr, nullptr,
};

bool NeedUnroot() {
    char value[128];
    if (dpax_ini_read_item(TVN_CM_PRODUCT_INI, "UNROOT", "unroot", value, sizeof(value)) == 0 &&
        std::strcmp(value, "0") == 0) {
        std::printf("Universal config no unroot, current key:%s.\n", value);
        return false;
    }
    if (dpax_ini_read_item(TVN_CM_PRODUCT_INI, "UNROOT", "version", value, sizeof(value)) == 0 &&
        std::strcmp(value, TVN_CM_UNROOT_VERSION) != 0) {
        std::printf("The protocol unroot version %s don't match.\n", value);
        return false;
    }
    return true;
}

int32_t SetCapByRoot() {
    int32_t rc = -1;
    if (::prctl(PR_SET_KEEPCAPS, 1L, 0L, 0L, 0L) == 0) {
        // Keep what the user will need plus what changing to it needs; the
        // rest goes now, while the change of user is still ahead.
        std::vector<cap_value_t> keep(TVN_CM_USER_CAPS, TVN_CM_USER_CAPS + TVN_CM_USER_CAPS_NUM);
        keep.push_back(CAP_SETUID);
        keep.push_back(CAP_SETGID);
        cap_t caps = cap_init();
        if (caps != nullptr &&
            cap_set_flag(caps, CAP_PERMITTED, static_cast<int>(keep.size()), keep.data(), CAP_SET) == 0 &&
            cap_set_flag(caps, CAP_EFFECTIVE, static_cast<int>(keep.size()), keep.data(), CAP_SET) == 0 &&
            cap_set_proc(caps) == 0)
            rc = 0;
        if (caps != nullptr) cap_free(caps);
    }
    if (rc != 0) {
        std::puts("SetCapByRoot fail.");
        TVN_CM_EARLY_LOG(TVN_LOG_MODULE_COMM, TVN_LOG_ERROR, rc, "TVN_NOROOT: SetCapByRoot fail.");
    }
    return rc;
}

int32_t ChangeToVantorProtocolUser() {
    struct passwd pwd {};
    struct passwd* found = nullptr;
    std::vector<char> buf(16384);
    int err = ::getpwnam_r(TVN_CM_PROTOCOL_USER, &pwd, buf.data(), buf.size(), &found);
    if (err != 0 || found == nullptr) {
        NOROOT_MSG(TVN_LOG_ERROR, -1, "get user %s failed, errno %d.", TVN_CM_PROTOCOL_USER, err);
        return -1;
    }
    uid_t uid = pwd.pw_uid;
    gid_t gid = pwd.pw_gid;
    NOROOT_MSG(TVN_LOG_INFO, 0, "VantorProtocolUser uid:%d gid:%d", static_cast<int>(uid), static_cast<int>(gid));
    int ret = ::setgid(gid);
    if (ret != 0) {
        NOROOT_MSG(TVN_LOG_ERROR, ret, "setgid error %d, errno %d.", ret, errno);
        return -1;
    }
    ret = ::setgroups(1, &gid);
    if (ret != 0) {
        NOROOT_MSG(TVN_LOG_ERROR, ret, "setgroups error %d, errno %d.", ret, errno);
        return -1;
    }
    ret = ::setuid(uid);
    if (ret != 0) {
        NOROOT_MSG(TVN_LOG_ERROR, ret, "setuid error %d, errno %d.", ret, errno);
        return -1;
    }
    // A change of user clears the dumpable flag; core dumps are wanted.
    ret = ::prctl(PR_SET_DUMPABLE, 1L, 0L, 0L, 0L);
    if (ret != 0) {
        NOROOT_MSG(TVN_LOG_ERROR, ret, "set dumpable failed(%d).", ret);
        return -1;
    }
    std::puts("ChangeToVantorProtocolUser done.");
    return 0;
}

int32_t SetCapForVantorProtocolUser() {
    cap_t caps = cap_get_proc();
    if (caps == nullptr) {
        int e = errno;
        NOROOT_MSG(TVN_LOG_ERROR, -e, "VantorProtocolUser user get cap failed, error:%d:%s.", e, std::strerror(e));
        return -1;
    }
    int32_t rc = 0;
    // Exactly the service's list: CAP_SETUID and CAP_SETGID go here.
    cap_clear(caps);
    int ret = cap_set_flag(caps, CAP_PERMITTED, TVN_CM_USER_CAPS_NUM, TVN_CM_USER_CAPS, CAP_SET);
    if (ret != 0) {
        NOROOT_MSG(TVN_LOG_ERROR, ret, "VantorProtocolUser user set Permitted failed(%d).", ret);
        rc = -1;
    }
    if (rc == 0 && (ret = cap_set_flag(caps, CAP_EFFECTIVE, TVN_CM_USER_CAPS_NUM, TVN_CM_USER_CAPS, CAP_SET)) != 0) {
        NOROOT_MSG(TVN_LOG_ERROR, ret, "VantorProtocolUser user set effective failed(%d).", ret);
        rc = -1;
    }
    if (rc == 0 &&
        (ret = cap_set_flag(caps, CAP_INHERITABLE, TVN_CM_USER_CAPS_NUM, TVN_CM_USER_CAPS, CAP_SET)) != 0) {
        NOROOT_MSG(TVN_LOG_ERROR, ret, "VantorProtocolUser user set inheritable failed(%d).", ret);
        rc = -1;
    }
    if (rc == 0 && (ret = cap_set_proc(caps)) != 0) {
        NOROOT_MSG(TVN_LOG_ERROR, ret, "VantorProtocolUser user set cap proc failed(%d).", ret);
        rc = -1;
    }
    cap_free(caps);
    if (rc == 0) std::puts("SetCapForVantorProtocolUser done.");
    return rc;
}

int32_t TvnLanchWithoutRoot() {
    if (SetCapByRoot() != 0) return -1;
    if (ChangeToVantorProtocolUser() != 0) {
        TVN_CM_EARLY_LOG(TVN_LOG_MODULE_COMM, TVN_LOG_ERROR, -1, "TVN_NOROOT: ChangeToVantorProtocolUser fail.");
        return -1;
    }
    if (SetCapForVantorProtocolUser() != 0) {
        TVN_CM_EARLY_LOG(TVN_LOG_MODULE_COMM, TVN_LOG_ERROR, -1, "TVN_NOROOT: SetCapForVantorProtocolUser fail.");
        return -1;
    }
    std::puts("TVN_NOROOT: Init drop root to set capability successfully.");
    TVN_CM_EARLY_LOG(TVN_LOG_MODULE_COMM, TVN_LOG_INFO, 0, "TVN_NOROOT: Init drop root to set capability successfully.");
    return 0;
}

int32_t RemoveRoot() {
    std::string flag = tvn::sysroot_path(TVN_CM_UNROOT_FLAG);
    bool wanted = ::access(flag.c_str(), F_OK) == 0;
    // The flag may sit in a folder this process cannot look into: a second
    // refusal for lack of permission still means it is there.
    if (!wanted) wanted = ::access(flag.c_str(), F_OK) != 0 && errno == EACCES;
    if (wanted && NeedUnroot()) {
        int32_t rc = TvnLanchWithoutRoot();
        TVN_CM_EARLY_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, rc, "Tvn_process No Root start.");
        std::fflush(stdout);
        return rc;
    }
    TVN_CM_EARLY_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "Tvn_process Root start.");
    return 0;
}
