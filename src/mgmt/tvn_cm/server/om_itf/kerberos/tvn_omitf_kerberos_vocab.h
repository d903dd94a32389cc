#pragma once
// The Kerberos family's items, commands and result codes. One item id means
// different things in different commands (64 is a realm's name, a service's
// LIF and the encryption-type list); the scope tells them apart.
#include "common/tvn_om_common_vocab.h"
#include "common/tvn_om_vocab.h"

namespace tvn_krb {

enum : int32_t {
    KRB_ERR_ITEM = -1,               // tenant item unreadable, or an item of the wrong type
    KRB_ERR_CACHE_SIZE = -5,         // GSS cache size outside 20..100
    KRB_ERR_NOMEM = -6,              // client or answer could not be made
    KRB_ERR_INVALID = -22,           // tenant text, range, filter, switch, cache type, item combination
    KRB_ERR_STORED_ENCRYPT = -2016,  // the stored encryption-type list fails the check
    KRB_ERR_ENCRYPT_TYPE = -12012,   // an element of the encryption-type list is unknown
    KRB_ERR_VENDOR = -42002,
    KRB_ERR_PORT = -42003,
    KRB_ERR_ADDRESS = -42004,
    KRB_ERR_NAME = -42005,
    KRB_ERR_REPLY = -42007,
    KRB_ERR_LIF_NAME = -42008,
    KRB_ERR_SPN = -42009,
    KRB_ERR_ACCOUNT = -42020,
    KRB_ERR_AD_SERVER = -42021,
};

// Store calls; the authentication service's module status and the
// encryption-type write take longer.
inline constexpr unsigned KRB_STORE_TIMEOUT_MS = 10000;
inline constexpr unsigned KRB_KO_STATUS_TIMEOUT_MS = 30000;
inline constexpr unsigned KRB_ENCRYPT_SET_TIMEOUT_MS = 30000;
inline constexpr unsigned KRB_KERNEL_TIMEOUT_MS = 10000;

// Limits of the texts a command takes.
inline constexpr size_t KRB_NAME_MAX = 255;  // realm, AD server and domain names
inline constexpr size_t KRB_LIF_NAME_MAX = 256;
inline constexpr size_t KRB_SPN_MAX = 388;
inline constexpr size_t KRB_ACCOUNT_MAX = 128;
inline constexpr size_t KRB_PASSWORD_MAX = 32;
inline constexpr size_t KRB_OPLOG_SPN_MAX = 256;  // bytes of an SPN in the operation log
inline constexpr uint32_t KRB_PAGE_MAX = 100;

// Tenant settings of the configuration store.
inline constexpr const char* KRB_KEY_ENCRYPT = "kerberos_encrypt_type";
inline constexpr const char* KRB_KEY_CACHE_SIZE = "kerberos_cache_size";
inline constexpr const char* KRB_DEFAULT_ENCRYPT = "AES128,AES256";
inline constexpr uint32_t KRB_CACHE_SIZE_MIN = 20;
inline constexpr uint32_t KRB_CACHE_SIZE_MAX = 100;
inline constexpr uint32_t KRB_CACHE_SIZE_DEFAULT = 20;

// Where an imported keytab is kept, per tenant (item 79 of the answer).
inline constexpr const char* KRB_KEYTAB_DIR = "/var/lib/tvn_cm/kerberos/keytab";

// Operation-log events.
inline constexpr uint64_t OPLOG_KRB_REALM_ADD_OK = 0x200F40460001ULL, OPLOG_KRB_REALM_ADD_FAIL = 0x200F40460002ULL;
inline constexpr uint64_t OPLOG_KRB_REALM_MOD_OK = 0x200F40460003ULL, OPLOG_KRB_REALM_MOD_FAIL = 0x200F40460004ULL;
inline constexpr uint64_t OPLOG_KRB_REALM_DEL_OK = 0x200F40460005ULL, OPLOG_KRB_REALM_DEL_FAIL = 0x200F40460006ULL;
inline constexpr uint64_t OPLOG_KRB_SERVICE_OK = 0x200F40460007ULL, OPLOG_KRB_SERVICE_FAIL = 0x200F40460008ULL;
inline constexpr uint64_t OPLOG_KRB_KEYTAB_OK = 0x200F40460009ULL, OPLOG_KRB_KEYTAB_FAIL = 0x200F4046000AULL;
inline constexpr uint64_t OPLOG_KRB_ENCRYPT_OK = 0x200F4046000BULL, OPLOG_KRB_ENCRYPT_FAIL = 0x200F4046000CULL;
inline constexpr uint64_t OPLOG_KRB_CACHE_SIZE_OK = 0x200F4046000DULL, OPLOG_KRB_CACHE_SIZE_FAIL = 0x200F4046000EULL;
inline constexpr uint64_t OPLOG_KRB_CACHE_CLEAR_OK = 0x200F4046000FULL, OPLOG_KRB_CACHE_CLEAR_FAIL = 0x200F40460010ULL;

// The kernel channel of the Kerberos caches and its request: the cache type
// (a byte: 1 SPN, 2 user, 3 security context), the tenant (4 bytes, little-endian) and the cache name (64
// bytes, zero-padded); the answer is the number of entries dropped
// (4 bytes, little-endian).
inline constexpr const char* KRB_KERNEL_CHANNEL = "krb_cache";
inline constexpr size_t KRB_CACHE_NAME_MAX = 64;

namespace vocab {

using tvn_om_vocab::item_def;
using tvn_om_vocab::item_type;
using tvn_om_vocab::word;

inline constexpr word kVendor[] = {{"windows", 1}, {"non-windows", 2}};
inline constexpr word kSwitch[] = {{"disable", 0}, {"enable", 1}};
inline constexpr word kOnOff[] = {{"off", 0}, {"on", 1}};

// ---- realms ----
inline constexpr item_def realm_name{64, item_type::string, "name", "realm name, 1 to 255 host-name characters",
                                     "realm"};
inline constexpr item_def realm_kdc_ip{65, item_type::string, "kdc-ip", "KDC address, IPv4 or IPv6", "realm"};
inline constexpr item_def realm_port{66, item_type::unsigned32, "port", "KDC port", "realm", {}, "88", 1, 65535};
inline constexpr item_def realm_vendor{67, item_type::enumeration, "vendor", "KDC vendor", "realm", kVendor};
inline constexpr item_def realm_ad_server{68, item_type::string, "ad-server",
                                          "AD server name, host-name characters, at most 255", "realm"};
inline constexpr item_def realm_ad_ip{69, item_type::string, "ad-ip", "AD server address, IPv4 or IPv6", "realm"};
inline constexpr item_def realm_range{70, item_type::string, "",
                                      "range of a realm list, JSON {\"offset\": N, \"limit\": N<=100}", "realm"};

// ---- services (Kerberos on a LIF) ----
inline constexpr item_def service_lif{64, item_type::string, "lif", "LIF name, at most 256 characters", "service"};
inline constexpr item_def service_spn{65, item_type::string, "spn", "service principal name, at most 388 characters",
                                      "service"};
inline constexpr item_def service_account{66, item_type::string, "account",
                                          "account that registers the SPN, at most 128 characters", "service"};
inline constexpr item_def service_password{67, item_type::string, "",
                                           "the account's password, at most 32 characters (secure reader)", "service"};
inline constexpr item_def service_switch{
    68, item_type::enumeration, "switch", "enable or disable Kerberos on the LIF", "service", kSwitch};
inline constexpr item_def service_realm{69, item_type::string, "realm", "realm name, at most 255 characters",
                                        "service"};
inline constexpr item_def service_overwrite{
    70, item_type::boolean, "overwrite", "reuse an account of the same name in the KDC", "service", kOnOff, "off"};

// ---- keytabs ----
inline constexpr item_def keytab_spn{71, item_type::string, "spn", "service principal name (domain-name rule)",
                                     "keytab"};
inline constexpr item_def keytab_path{72, item_type::string, "path", "keytab file path under the system root",
                                      "keytab"};
inline constexpr item_def keytab_dir{79, item_type::string, "", "directory the keytab is kept in (answers)", "keytab"};
inline constexpr item_def keytab_lif{80, item_type::string, "lif", "LIF name (domain-name rule)", "keytab"};

// ---- settings and caches ----
inline constexpr item_def encrypt_list{
    64, item_type::string, "types", "encryption types, comma-separated: AES128, AES256, DES, DES3", "enctype",
    {}, "AES128,AES256"};
inline constexpr item_def cache_size{69, item_type::unsigned32, "size", "GSS cache size", "cache", {}, "20", 20, 100};
inline constexpr item_def cache_type{65, item_type::string, "type", "cache to clear: \"spn\", \"user\" or \"context\"",
                                     "cache"};
inline constexpr item_def cache_name{66, item_type::string, "name",
                                     "entry to clear (SPN, user or context name); absent: all, at most 64 bytes",
                                     "cache"};

inline constexpr item_def items[] = {
    tvn_om_common::kMsgType,
    tvn_om_common::kCount,
    tvn_om_common::kQuery,
    tvn_om_common::kRange,
    tvn_om_common::kTenant,
    realm_name,
    realm_kdc_ip,
    realm_port,
    realm_vendor,
    realm_ad_server,
    realm_ad_ip,
    realm_range,
    service_lif,
    service_spn,
    service_account,
    service_password,
    service_switch,
    service_realm,
    service_overwrite,
    keytab_spn,
    keytab_path,
    keytab_dir,
    keytab_lif,
    encrypt_list,
    cache_size,
    cache_type,
    cache_name,
};

// ---- commands ----
using tvn_om_vocab::command_def;
inline constexpr command_def realm_add{"realm add", "TvnOmitfKerberosAddRealmConfig", 0xdea6a4000ULL, 0,
                                       "Add a Kerberos realm"};
inline constexpr command_def realm_modify{"realm modify", "TvnOmitfKerberosModifyRealmConfig", 0xdea6a2000ULL, 0,
                                          "Change a Kerberos realm"};
inline constexpr command_def realm_delete{"realm delete", "TvnOmitfKerberosDelRealmConfig", 0xdea6a6000ULL, 0,
                                          "Delete a Kerberos realm"};
inline constexpr command_def realm_show{"realm show", "TvnOmitfKerberosGetRealmConfig", 0xdea6a0000ULL, 0,
                                        "Show one Kerberos realm"};
inline constexpr command_def realm_list{"realm list", "TvnOmitfKerberosListRealmConfig", 0xdea6ac000ULL, 0,
                                        "List Kerberos realms"};
inline constexpr command_def realm_count{"realm count", "TvnOmitfKerberosGetRealmConfigCount", 0xdea6ae000ULL, 0,
                                         "Count Kerberos realms"};
inline constexpr command_def service_change{"service change", "TvnOmitfKerberosChangeServiceConf", 0xdea6b2000ULL, 0,
                                            "Enable or disable Kerberos on a LIF"};
inline constexpr command_def service_show{"service show", "TvnOmitfKerberosGetServiceConf", 0xdea6b0000ULL, 0,
                                          "Show the Kerberos service of a LIF"};
inline constexpr command_def service_list{"service list", "TvnOmitfKerberosListServiceConf", 0xdea6bc000ULL, 0,
                                          "List Kerberos services"};
inline constexpr command_def service_count{"service count", "TvnOmitfKerberosGetLifCount", 0xdea6be000ULL, 0,
                                           "Count LIFs with Kerberos"};
inline constexpr command_def keytab_import{"keytab import", "TvnOmitfKerberosImportKeytab", 0xde0222310ULL, 0,
                                           "Import a keytab file"};
inline constexpr command_def cache_clear{"cache clear", "TvnOmitfKerberosClearServiceCache", 0xd01686000ULL, 0,
                                         "Clear a Kerberos cache of the kernel"};
inline constexpr command_def lif_list{"lif list", "TvnOmitfKerberosListAvailableLif", 0xd0189c000ULL, 0,
                                      "List LIFs Kerberos may use"};
inline constexpr command_def lif_count{"lif count", "TvnOmitfKerberosListAvailableLifCount", 0xd0189e000ULL, 0,
                                       "Count LIFs Kerberos may use"};
inline constexpr command_def enctypes_set{"enctypes set", "TvnOmitfKerberosModifyEncryptType", 0xdea6c2000ULL, 0,
                                          "Set the allowed encryption types"};
inline constexpr command_def enctypes_show{"enctypes show", "TvnOmitfKerberosGetEncyptType", 0xdea6c0000ULL, 0,
                                           "Show the allowed encryption types"};
inline constexpr command_def cache_size_set{"cache-size set", "tvn_omitf_kerberos_modify_cache_size", 0xd01682000ULL, 0,
                                            "Set the GSS cache size"};
inline constexpr command_def cache_size_show{"cache-size show", "tvn_omitf_kerberos_get_cache_size", 0xd01680000ULL, 0,
                                             "Show the GSS cache size"};

inline constexpr command_def commands[] = {
    realm_add,      realm_modify, realm_delete, realm_show,    realm_list,     realm_count,
    service_change, service_show, service_list, service_count, keytab_import,  cache_clear,
    lif_list,       lif_count,    enctypes_set, enctypes_show, cache_size_set, cache_size_show,
};

// ---- result codes ----
inline constexpr tvn_om_vocab::error_def errors[] = {
    TVN_OM_ERROR(KRB_ERR_ITEM, "the tenant item or another item could not be read (wrong type)"),
    TVN_OM_ERROR(KRB_ERR_CACHE_SIZE, "GSS cache size outside 20 to 100"),
    TVN_OM_ERROR(KRB_ERR_NOMEM, "a client or the answer could not be made"),
    TVN_OM_ERROR(KRB_ERR_INVALID,
                 "tenant id text, range, filter, switch or cache type invalid; LIF name and SPN both given"),
    TVN_OM_ERROR(KRB_ERR_STORED_ENCRYPT, "the stored encryption-type list is not valid"),
    TVN_OM_ERROR(KRB_ERR_ENCRYPT_TYPE, "an encryption type is not one of AES128, AES256, DES, DES3"),
    TVN_OM_ERROR(KRB_ERR_VENDOR, "KDC vendor missing or not 1 (windows) or 2 (non-windows)"),
    TVN_OM_ERROR(KRB_ERR_PORT, "KDC port not within 1 to 65535"),
    TVN_OM_ERROR(KRB_ERR_ADDRESS, "KDC or AD server address missing or not an IP address"),
    TVN_OM_ERROR(KRB_ERR_NAME, "realm or LIF name missing or invalid; more than one realm answered"),
    TVN_OM_ERROR(KRB_ERR_REPLY, "the answer could not be built"),
    TVN_OM_ERROR(KRB_ERR_LIF_NAME, "LIF name missing or longer than 256 characters"),
    TVN_OM_ERROR(KRB_ERR_SPN, "SPN missing, longer than 388 characters or breaking the domain-name rule"),
    TVN_OM_ERROR(KRB_ERR_ACCOUNT, "account name (at most 128) or password (at most 32) missing or too long"),
    TVN_OM_ERROR(KRB_ERR_AD_SERVER,
                 "AD server name longer than 255 characters or with characters outside the host-name set"),
};

inline constexpr tvn_om_vocab::family_def family{"kerberos", "Kerberos realms, services, keytabs and settings", items,
                                                 commands, errors, "krb"};

}  // namespace vocab
}  // namespace tvn_krb
