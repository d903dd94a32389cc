#include "sa_cert.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

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

// The peers pass folders of their own; refuse anything that could climb
// out of one.
bool run_path_ok(const char* run_path) {
    if (run_path == nullptr || run_path[0] != '/') return false;
    std::string_view p(run_path);
    if (p.size() > 1024) return false;
    size_t pos = 0;
    while (pos <= p.size()) {
        size_t next = p.find('/', pos);
        if (next == std::string_view::npos) next = p.size();
        if (p.substr(pos, next - pos) == "..") return false;
        pos = next + 1;
    }
    return true;
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

int write_file(const std::string& path, const std::string& data) {
    std::string tmp = path + ".tmpXXXXXX";
    int fd = ::mkstemp(tmp.data());  // mode 0600
    if (fd < 0) return -errno;
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
    if (::close(fd) != 0 && err == 0) err = -errno;
    if (err == 0 && ::rename(tmp.c_str(), path.c_str()) != 0) err = -errno;
    if (err != 0) ::unlink(tmp.c_str());
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

    std::string dest = tvn::sysroot_path(run_path);
    if (int rc = tvn::make_dirs(dest, 0700); rc != 0) return rc;
    std::string stem = fmt::format("{}_{}", dir_name, tenant_id);
    sa_cert_files files{pwd, stem + ".key", stem + ".crt", stem + "_ca.crt"};
    if (int rc = write_file(dest + "/" + files.private_key_name, key); rc != 0) return rc;
    if (int rc = write_file(dest + "/" + files.cert_name, crt); rc != 0) return rc;
    if (int rc = write_file(dest + "/" + files.ca_cert_name, ca); rc != 0) return rc;
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
    std::string dest = tvn::sysroot_path(run_path);
    std::string stem = fmt::format("{}/{}_{}", dest, dir_name, tenant);
    for (const std::string& f : {stem + ".key", stem + ".crt", stem + "_ca.crt"})
        if (::unlink(f.c_str()) != 0 && errno != ENOENT) return -errno;
    return SA_CERT_OK;
}
