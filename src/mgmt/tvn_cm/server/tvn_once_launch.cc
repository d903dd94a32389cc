#include "tvn_once_launch.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tvn_log.h"
#include "tvn_sysroot.h"

tvn_once_launch::tvn_once_launch(const std::string& name) {
    if (!name.empty()) pid_file_ = tvn::sysroot_path("/KSD/component/protocol/" + name + ".pid");
}

tvn_once_launch::~tvn_once_launch() { release(); }

void tvn_once_launch::release() {
    if (fd_ < 0) return;
    (void)::flock(fd_, LOCK_UN);
    ::close(fd_);
    fd_ = -1;
}

bool tvn_once_launch::check() {
    if (fd_ >= 0) return true;
    if (pid_file_.empty()) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, -1, "PID file name is empty.");
        return false;
    }
    (void)tvn::make_parent_dirs(pid_file_);
    // No O_TRUNC: a refused second instance must not wipe the owner's id.
    // O_NOFOLLOW: a link planted under the name must not make us truncate
    // its target.
    int fd = ::open(pid_file_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
    struct stat st {};
    if (fd >= 0 && (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || ::fchmod(fd, 0600) != 0)) {
        ::close(fd);
        fd = -1;
        errno = EINVAL;
    }
    if (fd < 0) {
        int err = errno;
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, -err, "Open file (%s) failed, errno(%d).", pid_file_.c_str(), err);
        return false;
    }
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        int err = errno;
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, -err, "Flock file (%s) failed, errno(%d).", pid_file_.c_str(), err);
        ::close(fd);
        return false;
    }
    char text[32];
    int len = std::snprintf(text, sizeof(text), "%d\n", static_cast<int>(::getpid()));
    ssize_t n = -1;
    if (::ftruncate(fd, 0) == 0) {
        do {
            n = ::pwrite(fd, text, static_cast<size_t>(len), 0);
        } while (n < 0 && errno == EINTR);
    }
    if (n != len) {
        int err = n < 0 ? errno : ENOSPC;
        if (err == ENOSPC)
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, -err, "Write file (%s) failed, errno is ENOSPC.", pid_file_.c_str());
        else
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, -err, "Write file (%s) failed, errno(%d).", pid_file_.c_str(), err);
        (void)::flock(fd, LOCK_UN);
        ::close(fd);
        return false;
    }
    fd_ = fd;
    return true;
}
