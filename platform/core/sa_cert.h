#pragma once
// Certificate files of the platform's security administration, as the
// HTTPS, LDAPS and FTPS modules receive them.
//
// The stand-in keeps one certificate set per module and tenant under the
// system root, in /KSD/conf/tvn_cm/cert/<module>/<tenant>/:
//   server.key  private key (kept encrypted)
//   server.crt  certificate
//   ca.crt      CA certificate
//   key.pwd     the key's encrypted pass phrase (one line; optional)
// <module> is "https" (1), "ldaps" (2), "ftps" (3) or "ldaps_nfs" (the LDAPS
// certificate of the NFS server). A fetch copies the three files into the
// caller's run folder (under the system root, created with mode 0700; files
// mode 0600) as "<module>_<tenant>.key", "<module>_<tenant>.crt" and
// "<module>_<tenant>_ca.crt"; a delete removes exactly those three.
#include <cstdint>
#include <string>

struct sa_cert_files {
    std::string encrypt_pwd;
    std::string private_key_name;
    std::string cert_name;
    std::string ca_cert_name;
};

enum sa_cert_result : int32_t {
    SA_CERT_OK = 0,
    SA_CERT_NOT_FOUND = -2,    // no certificate set for that module and tenant
    SA_CERT_BAD_ARG = -22,     // unknown module or type, bad tenant, bad run path
};

// module 1 https, 2 ldaps, 3 ftps; type 0 (encrypted key) or 1 (the caller
// will decrypt it): the stand-in delivers the same files for both.
int32_t SA_GetCertFiles(uint32_t module, uint32_t type, uint32_t tenant_id, const char* run_path,
                        sa_cert_files* out);
// The LDAPS certificate of the NFS server (set "ldaps_nfs").
int32_t SA_GetLdapsCertForNfs(uint32_t type, uint32_t tenant_id, const char* run_path,
                              sa_cert_files* out);
// Removes the files a fetch left in run_path; files already gone are fine.
// tenant_id is the decimal text of the tenant.
int32_t SA_DelCertFiles(uint32_t module, const char* tenant_id, const char* run_path);

namespace tvn {
// Folder of one certificate set under the current system root ("" for an
// unknown module).
std::string sa_cert_dir(uint32_t module, uint32_t tenant_id);
constexpr uint32_t SA_MODULE_LDAPS_NFS = 38;
}  // namespace tvn
