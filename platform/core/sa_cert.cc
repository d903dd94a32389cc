#include "sa_cert.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>

#include "platform_init.h"
#include "tvn_sysroot.h"

namespace {

const char* module_dir(uint32_t module) {
    switch (module) {
        case 1: return "https";
        case 2: return "ldaps";
        case 3: return "ftps";
        case tvn::SA_MODULE_LDAPS_NFS: return "ldaps_nfs";
        default: return nullptr;
    }
}

// Copies go only below the folder made for them ("/run" under the system
// root), so a peer cannot have root write key files into any other place.
constexpr std::string_view kCertRunRoot = "/run/";

// The peers pass folders of their own; refuse anything that could climb
// out of one or leave the run folder.
bool run_path_ok(const char* run_path) {
    if (run_path == nullptr) return false;
    std::string_view p(run_path);
    if (p.size() > 1024 || p.rfind(kCertRunRoot, 0) != 0 || p.size() == kCertRunRoot.size()) return false;
    size_t pos = 0;
    while (pos <= p.size()) {
        size_t next = p.find('/', pos);
        if (next == std::string_view::npos) next = p.size();
        if (p.substr(pos, next - pos) == "..") return false;
        pos = next + 1;
    }
    for (char c : p)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) return false;
    return true;
}

// An open folder descriptor that closes itself.
struct dir_fd {
    int fd = -1;
    dir_fd() = default;
    explicit dir_fd(int f) : fd(f) {}
    dir_fd(const dir_fd&) = delete;
    dir_fd& operator=(const dir_fd&) = delete;
    dir_fd(dir_fd&& o) noexcept : fd(o.fd) { o.fd = -1; }
    dir_fd& operator=(dir_fd&& o) noexcept {
        std::swap(fd, o.fd);
        return *this;
    }
    ~dir_fd() {
        if (fd >= 0) ::close(fd);
    }
};

// Walks run_path from the system root one folder at a time, never through a
// symbolic link (a planted link fails with ELOOP or ENOTDIR); with `create`,
// missing folders are made 0700 ("/run" itself 0755).
int open_run_dir(const char* run_path, bool create, dir_fd& out) {
    dir_fd cur(::open(tvn::sysroot_path("/").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (cur.fd < 0) return -errno;
    std::string_view p(run_path);
    size_t pos = 1;
    bool first = true;
    while (pos < p.size()) {
        size_t next = p.find('/', pos);
        if (next == std::string_view::npos) next = p.size();
        std::string name(p.substr(pos, next - pos));
        pos = next + 1;
        if (name.empty() || name == ".") continue;
        if (create && ::mkdirat(cur.fd, name.c_str(), first ? 0755 : 0700) != 0 && errno != EEXIST) return -errno;
        dir_fd child(::openat(cur.fd, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (child.fd < 0) return -errno;
        cur = std::move(child);
        first = false;
    }
    out = std::move(cur);
    return 0;
}

bool parse_tenant(const char* text, uint32_t& tenant) {
    if (text == nullptr || *text < '0' || *text > '9') return false;
    char* end = nullptr;
    errno = 0;
    unsigned long long v = std::strtoull(text, &end, 10);
    if (errno != 0 || *end != '\0' || v > UINT32_MAX) return false;
    tenant = static_cast<uint32_t>(v);
    return true;
}

int read_file(const std::string& path, std::string& out) {
    FILE* f = std::fopen(path.c_str(), "rbe");
    if (f == nullptr) return -errno;
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof(buf), f)) > 0) out.append(buf, n);
    int err = std::ferror(f) ? -EIO : 0;
    std::fclose(f);
    return err;
}

// Written to a fresh 0600 file beside the target and renamed over it, so a
// link planted under the target's name is replaced, never followed.
int write_file(int dir, const std::string& name, const std::string& data) {
    std::string tmp;
    int fd = -1;
    for (int attempt = 0; fd < 0 && attempt < 16; ++attempt) {
        tmp = fmt::format(".{}.{}.{}", name, ::getpid(), attempt);
        fd = ::openat(dir, tmp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (fd < 0 && errno != EEXIST) return -errno;
    }
    if (fd < 0) return -EEXIST;
    const char* p = data.data();
    size_t left = data.size();
    int err = 0;
    while (left > 0) {
        ssize_t n = ::write(fd, p, left);
        if (n < 0) {
            if (errno == EINTR) continue;
            err = -errno;
            break;
        }
        p += n;
        left -= static_cast<size_t>(n);
    }
    if (err == 0 && ::fchmod(fd, 0600) != 0) err = -errno;
    if (::close(fd) != 0 && err == 0) err = -errno;
    if (err == 0 && ::renameat(dir, tmp.c_str(), dir, name.c_str()) != 0) err = -errno;
    if (err != 0) ::unlinkat(dir, tmp.c_str(), 0);
    return err;
}

int32_t fetch(uint32_t module, uint32_t type, uint32_t tenant_id, const char* run_path, sa_cert_files* out) {
    const char* dir_name = module_dir(module);
    if (dir_name == nullptr || type > 1 || !run_path_ok(run_path) || out == nullptr) return SA_CERT_BAD_ARG;
    std::string src = tvn::sa_cert_dir(module, tenant_id);
    std::string key, crt, ca, pwd;
    if (read_file(src + "/server.key", key) != 0 || read_file(src + "/server.crt", crt) != 0 ||
        read_file(src + "/ca.crt", ca) != 0)
        return SA_CERT_NOT_FOUND;
    (void)read_file(src + "/key.pwd", pwd);  // a key without a pass phrase is allowed
    while (!pwd.empty() && (pwd.back() == '\n' || pwd.back() == '\r')) pwd.pop_back();

    dir_fd dest;
    if (int rc = open_run_dir(run_path, true, dest); rc != 0) return rc;
    std::string stem = fmt::format("{}_{}", dir_name, tenant_id);
    sa_cert_files files{pwd, stem + ".key", stem + ".crt", stem + "_ca.crt"};
    if (int rc = write_file(dest.fd, files.private_key_name, key); rc != 0) return rc;
    if (int rc = write_file(dest.fd, files.cert_name, crt); rc != 0) return rc;
    if (int rc = write_file(dest.fd, files.ca_cert_name, ca); rc != 0) return rc;
    *out = std::move(files);
    return SA_CERT_OK;
}

}  // namespace

namespace tvn {
std::string sa_cert_dir(uint32_t module, uint32_t tenant_id) {
    const char* dir_name = module_dir(module);
    if (dir_name == nullptr) return {};
    return sysroot_path(fmt::format("/KSD/conf/tvn_cm/cert/{}/{}", dir_name, tenant_id));
}
}  // namespace tvn

int32_t SA_GetCertFiles(uint32_t module, uint32_t type, uint32_t tenant_id, const char* run_path,
                        sa_cert_files* out) {
    if (module == tvn::SA_MODULE_LDAPS_NFS) return SA_CERT_BAD_ARG;  // has its own call
    if (int32_t rc = tvn::platform_call("SA_GetCertFiles"); rc != 0) return rc;
    return fetch(module, type, tenant_id, run_path, out);
}

int32_t SA_GetLdapsCertForNfs(uint32_t type, uint32_t tenant_id, const char* run_path, sa_cert_files* out) {
    if (int32_t rc = tvn::platform_call("SA_GetLdapsCertForNfs"); rc != 0) return rc;
    return fetch(tvn::SA_MODULE_LDAPS_NFS, type, tenant_id, run_path, out);
}

int32_t SA_DelCertFiles(uint32_t module, const char* tenant_id, const char* run_path) {
    const char* dir_name = module_dir(module);
    uint32_t tenant = 0;
    if (dir_name == nullptr || !parse_tenant(tenant_id, tenant) || !run_path_ok(run_path)) return SA_CERT_BAD_ARG;
    if (int32_t rc = tvn::platform_call("SA_DelCertFiles"); rc != 0) return rc;
    dir_fd dest;
    if (int rc = open_run_dir(run_path, false, dest); rc != 0) return rc == -ENOENT ? SA_CERT_OK : rc;
    std::string stem = fmt::format("{}_{}", dir_name, tenant);
    for (const std::string& f : {stem + ".key", stem + ".crt", stem + "_ca.crt"})
        if (::unlinkat(dest.fd, f.c_str(), 0) != 0 && errno != ENOENT) return -errno;
    return SA_CERT_OK;
}
