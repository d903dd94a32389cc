#include "tvn_sysroot.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tvn {

std::string sysroot() {
    const char* root = std::getenv("TVN_SYSROOT");
    if (root == nullptr || *root == '\0') return {};
    std::string r(root);
    while (r.size() > 1 && r.back() == '/') r.pop_back();
    if (r == "/") return {};
    return r;
}

std::string sysroot_path(std::string_view abs_path) {
    if (abs_path.empty() || abs_path.front() != '/') return std::string(abs_path);
    return sysroot() + std::string(abs_path);
}

int make_dirs(const std::string& path, unsigned mode) {
    if (path.empty()) return -EINVAL;
    std::string cur;
    cur.reserve(path.size());
    size_t pos = 0;
    while (pos <= path.size()) {
        size_t next = path.find('/', pos);
        if (next == std::string::npos) next = path.size();
        cur.assign(path, 0, next);
        pos = next + 1;
        if (cur.empty()) continue;
        if (::mkdir(cur.c_str(), mode) != 0 && errno != EEXIST) return -errno;
    }
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0) return -errno;
    return S_ISDIR(st.st_mode) ? 0 : -ENOTDIR;
}

int make_parent_dirs(const std::string& file_path, unsigned mode) {
    auto slash = file_path.rfind('/');
    if (slash == std::string::npos || slash == 0) return 0;
    return make_dirs(file_path.substr(0, slash), mode);
}

int open_append_regular(const std::string& path, unsigned mode) {
    int fd = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK,
                    static_cast<mode_t>(mode));
    if (fd < 0) return -errno;
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        return -EINVAL;
    }
    return fd;
}

}  // namespace tvn
