#pragma once
// Export option lists ("sync,no_all_squash,root_squash,ro,...") and client
// names, as the NFS store keeps them.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tvn::sim {

// Splits a comma-separated list, dropping empty pieces (a list built by the
// modify command ends with a comma) and surrounding blanks.
std::vector<std::string> split_option_words(std::string_view list);

// Words that exclude each other share a category: "ro", "rw" and "na" are
// all "access"; "anonuid=1000" is "anonuid". An unknown word is its own
// category (its text up to '=').
std::string option_category(std::string_view word);

// Applies a partial list to a stored one: each word of `change` replaces the
// stored word of its category in place, or is appended when the stored list
// has none. The result has no empty pieces.
std::string merge_export_options(std::string_view stored, std::string_view change);

// Normalises a whole list (empty pieces dropped; a later word of a category
// wins over an earlier one).
std::string normalise_export_options(std::string_view list);

// What kind of client a permission names, and the order in which the NFS
// server tries permissions (more specific first).
enum nfs_client_kind : uint32_t {
    NFS_CLIENT_HOST = 0,      // a host name (possibly with wildcards)
    NFS_CLIENT_IP = 1,        // one IPv4 or IPv6 address
    NFS_CLIENT_NETWORK = 2,   // address/prefix or address/mask
    NFS_CLIENT_NETGROUP = 3,  // "@name"
    NFS_CLIENT_ANY = 4,       // "*"
};
struct nfs_client_class {
    nfs_client_kind kind;
    uint32_t priority;  // 1 = tried first
};
nfs_client_class classify_nfs_client(std::string_view name);

bool is_ip_address(std::string_view text);

}  // namespace tvn::sim
