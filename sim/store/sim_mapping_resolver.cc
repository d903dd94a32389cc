#include "sim_mapping_resolver.h"

#include <chrono>
#include <cctype>
#include <unordered_map>

#include "sim_result.h"
#include "sim_user_mapping_store.h"

namespace tvn::sim {

namespace {

constexpr uint32_t kWinToUnix = 0, kUnixToWin = 1;

bool same_char(char a, char b, bool ignore_case) {
    if (!ignore_case) return a == b;
    return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
}

bool same_text(std::string_view a, std::string_view b, bool ignore_case) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (!same_char(a[i], b[i], ignore_case)) return false;
    return true;
}

// The NetBIOS names of the domain texts met in one resolution (rules repeat
// their domains; each is asked of the directory once).
using domain_memo = std::unordered_map<std::string, std::string>;

// A Windows name as "NETBIOS\account"; a bare name takes the tenant's domain.
std::string windows_key(sim_store& store, uint32_t tenant, const std::string& name, domain_memo& memo) {
    std::string domain, account = name;
    if (auto bs = name.find('\\'); bs != std::string::npos) {
        domain = name.substr(0, bs);
        account = name.substr(bs + 1);
    } else if (auto at = name.rfind('@'); at != std::string::npos && at > 0) {
        domain = name.substr(at + 1);
        account = name.substr(0, at);
    }
    auto [it, fresh] = memo.try_emplace(domain, domain);
    if (fresh) {
        std::optional<domain_rec> d;
        if (!domain.empty()) {
            d = store.dir.domain_by_name(domain);
        } else {
            std::string fqdn = store.conf.tenant_value(tenant, "fqdn");
            d = fqdn.empty() ? store.dir.first_domain() : store.dir.domain_by_name(fqdn);
        }
        if (d) it->second = d->nbname;
    }
    return it->second + "\\" + account;
}

// Times the domain look-ups of a resolution.
class ad_clock {
public:
    explicit ad_clock(uint32_t& total) : total_(total), begin_(std::chrono::steady_clock::now()) {}
    ~ad_clock() {
        auto us = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - begin_);
        total_ += static_cast<uint32_t>(us.count());
    }

private:
    uint32_t& total_;
    std::chrono::steady_clock::time_point begin_;
};

std::optional<account_rec> domain_user(sim_store& store, const std::string& key, uint32_t& ad_us) {
    ad_clock clock(ad_us);
    return store.dir.account_by_name(key, account_scope::domain, false);
}

std::optional<account_rec> local_user(sim_store& store, const std::string& name) {
    return store.dir.account_by_name(name, account_scope::local, false);
}

std::string substitute(const std::string& to, const std::string& capture) {
    std::string out;
    for (char c : to) {
        if (c == '*') out += capture;
        else out += c;
    }
    return out;
}

std::string account_part(const std::string& key) {
    auto bs = key.find('\\');
    return bs == std::string::npos ? key : key.substr(bs + 1);
}

}  // namespace

std::optional<std::string> match_pattern(const std::string& pattern, const std::string& name, bool ignore_case) {
    const auto star = pattern.find('*');
    if (star == std::string::npos) {
        if (!same_text(pattern, name, ignore_case)) return std::nullopt;
        return std::string();
    }
    const std::string_view head(pattern.data(), star), tail(pattern.data() + star + 1, pattern.size() - star - 1);
    if (name.size() < head.size() + tail.size()) return std::nullopt;
    if (!same_text(head, std::string_view(name).substr(0, head.size()), ignore_case)) return std::nullopt;
    // The rest of the pattern after the first '*' must match the end exactly
    // (a later '*' is an ordinary character there).
    if (!same_text(tail, std::string_view(name).substr(name.size() - tail.size()), ignore_case)) return std::nullopt;
    return name.substr(head.size(), name.size() - head.size() - tail.size());
}

mapping_outcome resolve_mapping(sim_store& store, uint32_t tenant, const std::string& name, uint32_t type,
                                bool remember) {
    mapping_outcome out;
    user_mapping_store rules(store.db);
    domain_memo memo;
    std::string key = name;
    if (type == kWinToUnix) {
        key = windows_key(store, tenant, name, memo);
        out.win = domain_user(store, key, out.ad_us);
        if (!out.win) {
            out.status = SIM_ERR_NOT_FOUND;
            return out;
        }
        key = out.win->full_name();
    } else if (type == kUnixToWin) {
        out.unix_account = local_user(store, name);
        if (!out.unix_account) {
            out.status = SIM_ERR_NOT_FOUND;
            return out;
        }
        key = out.unix_account->name;
    }

    for (const auto& r : rules.rules_in_order(tenant, type)) {
        std::string from = type == kWinToUnix ? windows_key(store, tenant, r.from, memo) : r.from;
        auto capture = match_pattern(from, key, type == kWinToUnix);
        if (!capture) continue;
        if (from.find('*') == std::string::npos) *capture = account_part(key);
        std::string target = substitute(r.to, *capture);
        if (type == kUnixToWin) {
            out.win = domain_user(store, windows_key(store, tenant, target, memo), out.ad_us);
            if (!out.win) continue;
        } else {
            out.unix_account = local_user(store, target);
            if (!out.unix_account) continue;
        }
        out.rule_id = r.id;
        break;
    }

    if (out.rule_id == 0) {
        if (type == kWinToUnix) {
            out.unix_account = local_user(store, out.win->name);
            if (!out.unix_account) out.unix_account = out.win;
        } else if (type == kUnixToWin) {
            out.win = domain_user(store, windows_key(store, tenant, out.unix_account->name, memo), out.ad_us);
            if (!out.win) out.win = out.unix_account;
        } else {
            out.status = SIM_ERR_NOT_FOUND;
            return out;
        }
    }
    out.mapped_name = type == kUnixToWin ? out.win->full_name() : out.unix_account->full_name();
    if (remember && out.win && out.unix_account)
        rules.cache_put({tenant, out.win->sid(), out.win->full_name(), out.unix_account->iid,
                         out.unix_account->full_name(), out.rule_id});
    return out;
}

}  // namespace tvn::sim
