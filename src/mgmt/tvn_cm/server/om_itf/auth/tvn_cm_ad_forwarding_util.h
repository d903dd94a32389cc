#pragma once
// Where a tenant's domain work runs. In a cluster the domain client of a
// tenant lives on one controller and the AD commands that change it are
// forwarded there; on a single node every tenant's work is local, so the
// utility answers "no forwarding" and the local node.
#include <cstdint>

class tvn_cm_ad_forwarding_util {
public:
    // Whether the tenant's domain work lives on another node.
    static bool need_forwarding(uint32_t tenant);
    // The node of the tenant's domain work: 0 with node set, else -1.
    static int32_t get_forwarding_node(uint32_t tenant, int& node);
    // Forgets the tenant's node (after a failed change), so the next
    // command asks again.
    static void reset_forwarding_node(uint32_t tenant);
};
