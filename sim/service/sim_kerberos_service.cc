#include "sim_kerberos_service.h"

#include <fstream>

#include "sim_result.h"
#include "tvn_sysroot.h"

namespace tvn::sim {

namespace {

void init_store(kerberos_store& krb) {
    std::string err;
    // A table that cannot be made shows in every call's answer (SIM_ERR_IO).
    (void)krb.init(err);
}

constexpr const char* kEncryptKey = "kerberos_encrypt_type";

}  // namespace

// ---- realms ------------------------------------------------------------------------

sim_kerberos_realm_store_service::sim_kerberos_realm_store_service(sim_store& store)
    : krb_(store.db, store.dir, store.inv) {
    init_store(krb_);
}

SIM_RPC_IMPL(sim_kerberos_realm_store_service, AddKerberosRealmConfig, KerberosAddRealmConfigReq, KerberosCommonRsp) {
    sim_answer(rsp, krb_, &kerberos_store::add_realm, req->realmconfig());
}

SIM_RPC_IMPL(sim_kerberos_realm_store_service, DelKerberosRealmConfig, KerberosDelRealmConfigReq, KerberosCommonRsp) {
    sim_answer(rsp, krb_, &kerberos_store::del_realm, req->tenant_id(), req->name());
}

SIM_RPC_IMPL(sim_kerberos_realm_store_service, ModifyKerberosRealmConfig, KerberosModifyRealmConfigReq,
             KerberosCommonRsp) {
    sim_answer(rsp, krb_, &kerberos_store::modify_realm, *req);
}

SIM_RPC_IMPL(sim_kerberos_realm_store_service, ListKerberosRealmConfig, KerberosListRealmConfigReq,
             KerberosListRealmConfigRsp) {
    int32_t rc = krb_.list_realms(*req, rsp);
    rsp->mutable_status()->set_result(rc);
    rsp->mutable_status()->set_desc(rc == SIM_OK ? "success" : "cannot list realms");
}

SIM_RPC_IMPL(sim_kerberos_realm_store_service, GetKerberosRealmConfigCount, KerberosGetRealmConfigCountReq,
             KerberosGetRealmConfigCountRsp) {
    rsp->set_count(krb_.realm_count(req->tenant_id()));
    rsp->mutable_status()->set_result(SIM_OK);
}

// ---- services, keytabs, LIFs -------------------------------------------------------

sim_kerberos_store_service::sim_kerberos_store_service(sim_store& store) : krb_(store.db, store.dir, store.inv) {
    init_store(krb_);
}

SIM_RPC_IMPL(sim_kerberos_store_service, EnableKerberosServiceConfig, KerberosChangeServiceConfigReq,
             KerberosCommonRsp) {
    sim_answer(rsp, krb_, &kerberos_store::enable_service, *req);
}

SIM_RPC_IMPL(sim_kerberos_store_service, DisableKerberosServiceConfig, KerberosChangeServiceConfigReq,
             KerberosCommonRsp) {
    sim_answer(rsp, krb_, &kerberos_store::disable_service, *req);
}

SIM_RPC_IMPL(sim_kerberos_store_service, ListKerberosServiceConfig, KerberosListServiceConfigReq,
             KerberosListServiceConfigRsp) {
    const auto& s = req->service_info();
    for (auto& svc :
         krb_.services(s.tenant_id(), s.lif_name(), s.spn(), req->realm_name(), req->offset(), req->limit()))
        *rsp->add_service_info() = std::move(svc);
    rsp->set_result(SIM_OK);
}

SIM_RPC_IMPL(sim_kerberos_store_service, GetKerberosServiceConfig, KerberosGetServiceConfigReq,
             KerberosGetServiceConfigRsp) {
    const auto& s = req->service_info();
    auto found = krb_.services(s.tenant_id(), s.lif_name(), "", "", req->offset(), req->limit());
    if (found.empty() && !s.lif_name().empty()) {
        rsp->set_result(SIM_ERR_NOT_FOUND);
        rsp->set_desc("Kerberos is not enabled on " + s.lif_name());
        return;
    }
    for (auto& svc : found) *rsp->add_service_info() = std::move(svc);
    rsp->set_result(SIM_OK);
}

SIM_RPC_IMPL(sim_kerberos_store_service, GetKerberosLifCount, KerberosGetLifCountReq, KerberosGetLifCountRsp) {
    rsp->set_count(krb_.service_count(req->tenant_id(), req->realm_name()));
    rsp->set_result(SIM_OK);
}

SIM_RPC_IMPL(sim_kerberos_store_service, ImportKerberosKeytab, KerberosImportKeytabReq, KerberosCommonRsp) {
    sim_answer(rsp, krb_, &kerberos_store::import_keytab, *req);
}

SIM_RPC_IMPL(sim_kerberos_store_service, KerberosListAvailableLif, KerberosListAvailableLifReq,
             KerberosListAvailableLifRsp) {
    auto all = krb_.lifs(req->tenant_id(), req->filter(), req->serviceip());
    const size_t limit = req->has_limit() && req->limit() > 0 ? req->limit() : all.size();
    for (size_t i = req->offset(); i < all.size() && i < req->offset() + limit; ++i) {
        auto* info = rsp->add_lif_info();
        info->set_lif_name(all[i].name);
        info->set_lifid(std::to_string(all[i].id));
    }
    rsp->set_status(SIM_OK);
}

// ---- encryption types --------------------------------------------------------------

SIM_RPC_IMPL(sim_kerberos_encrypt_store_service, ModifyKerberosEncryptType, KerberosModifyEncryptTypeReq,
             KerberosCommonRsp) {
    tvn_settenant_cfg_req set;
    auto* pair = set.add_config();
    pair->set_tenant_id(req->encryptconfig().tenant_id());
    pair->set_key(kEncryptKey);
    pair->set_value(req->encryptconfig().encrypt_type());
    sim_answer(rsp, store_.conf, &conf_store::set_tenant, set, std::string());
}

SIM_RPC_IMPL(sim_kerberos_encrypt_store_service, GetKerberosEncryptType, KerberosAskEncyptTypeReq,
             KerberosAskEncyptTypeRsp) {
    std::string value = store_.conf.tenant_value(req->tenant_id(), kEncryptKey);
    auto* cfg = rsp->mutable_encrypttypeconfig();
    cfg->set_tenant_id(req->tenant_id());
    if (!value.empty()) cfg->set_encrypt_type(value);
    rsp->mutable_status()->set_result(SIM_OK);
}

// ---- the Kerberos module and the kernel's caches -----------------------------------

int32_t kerberos_ko_status() {
    std::ifstream in(tvn::sysroot_path("/var/lib/tvn_sim/krb_ko_status"));
    long status = 0;
    if (!in || !(in >> status)) return SIM_OK;
    return static_cast<int32_t>(status);
}

int32_t kerberos_cache_channel(sim_store& store, const std::string& bytes, std::string& reply) {
    // type (1), tenant (4, little-endian), name (64, zero-padded).
    if (bytes.size() != 69 || bytes[0] < 1 || bytes[0] > 3) return SIM_ERR_INVALID;
    uint32_t tenant = 0;
    for (int i = 3; i >= 0; --i) tenant = (tenant << 8) | static_cast<unsigned char>(bytes[1 + i]);
    std::string name = bytes.substr(5);
    name.erase(name.find('\0') == std::string::npos ? name.size() : name.find('\0'));
    // The SPN cache holds one entry per enabled service; the user and
    // security-context caches of the stand-in are always empty.
    uint32_t dropped = 0;
    if (bytes[0] == 1) {
        kerberos_store krb(store.db, store.dir, store.inv);
        dropped = static_cast<uint32_t>(krb.services(tenant, "", name, "", 0, 0).size());
    }
    reply.assign(4, '\0');
    for (int i = 0; i < 4; ++i) reply[i] = static_cast<char>((dropped >> (8 * i)) & 0xFF);
    return SIM_OK;
}

}  // namespace tvn::sim
