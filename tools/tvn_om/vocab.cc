#include "vocab.h"

#include <fmt/format.h>

#include "common/tvn_om_common_vocab.h"
#include "kerberos/tvn_omitf_kerberos_vocab.h"
#include "nfs/tvn_omitf_nfs_vocab.h"
#include "auth/tvn_omitf_auth_vocab.h"
#include "usermapping/tvn_omitf_usermapping_vocab.h"
#include "windows_users/tvn_omitf_windows_users_vocab.h"
#include "tvn_om_cli.h"

namespace tvn_om {

namespace {

constexpr const tvn_om_vocab::family_def* kFamilies[] = {
    &tvn_om_common::family,
    &tvn_nfs::vocab::family,
    &tvn_auth::vocab::family,
    &tvn_usermapping::vocab::family,
    &tvn_win::vocab::family,
    &tvn_krb::vocab::family,
};

// Markdown cells hold no bare "|".
std::string cell(std::string_view text) {
    std::string out;
    for (char c : text) {
        if (c == '|') out += '\\';
        out += c;
    }
    return out;
}

std::string hex_code(int32_t code) { return fmt::format("0x{:08X}", static_cast<uint32_t>(code)); }

int run_vocab(const global_options&, const std::vector<std::string>& args) {
    if (args.size() != 1) {
        std::string names;
        for (const auto* f : kFamilies) names += std::string(names.empty() ? "" : ", ") + std::string(f->name);
        return usage_error("give one family: " + names, "tvn_om vocab FAMILY");
    }
    const auto* f = family(args[0]);
    if (f == nullptr) return usage_error("no family '" + args[0] + "'", "tvn_om vocab FAMILY");
    fmt::print("{}", vocab_markdown(*f));
    return kExitOk;
}

const command_registrar vocab_command({{"vocab"},
                                       "Print a family's commands, items and codes (its README tables)",
                                       [] { return std::string("usage: tvn_om vocab FAMILY\n"); },
                                       run_vocab});

}  // namespace

std::span<const tvn_om_vocab::family_def* const> families() { return kFamilies; }

const tvn_om_vocab::family_def* family(const std::string& name) {
    for (const auto* f : kFamilies)
        if (f->name == name) return f;
    return nullptr;
}

const tvn_om_vocab::family_def* family_of(uint64_t opcode) {
    if (opcode == 0) return nullptr;
    for (const auto* f : kFamilies)
        for (const auto& c : f->commands)
            if (c.code == opcode || c.second_code == opcode) return f;
    return nullptr;
}

std::string error_meaning(int32_t code, uint64_t opcode) {
    if (const auto* f = family_of(opcode))
        if (const auto* e = f->error(code)) return std::string(e->meaning);
    for (const auto* f : kFamilies)
        if (const auto* e = f->error(code)) return std::string(e->meaning);
    return {};
}

std::string vocab_markdown(const tvn_om_vocab::family_def& family) {
    std::string out;
    if (!family.commands.empty()) {
        out += fmt::format("| tvn_om {} ... | Class | Codes | What |\n|---|---|---|---|\n", family.cli_group());
        for (const auto& c : family.commands) {
            std::string codes = fmt::format("0x{:x}", c.code);
            if (c.second_code != 0) codes += fmt::format(", 0x{:x}", c.second_code);
            out += fmt::format("| {} | `{}` | {} | {} |\n", c.words, c.handler, codes, cell(c.summary));
        }
        out += "\n";
    }
    out += "| Item | Scope | Type | Option | Values | Absent | Meaning |\n|---|---|---|---|---|---|---|\n";
    for (const auto& i : family.items) {
        std::string values;
        for (const auto& w : i.words) values += fmt::format("{}{} {}", values.empty() ? "" : ", ", w.value, w.text);
        if (values.empty() && i.is_number() && (i.min != 0 || i.max != UINT32_MAX))
            values = fmt::format("{} to {}", i.min, i.max);
        out += fmt::format("| {} | {} | {} | {} | {} | {} | {} |\n", i.id, i.scope.empty() ? "all" : i.scope,
                           tvn_om_vocab::type_name(i.type), i.key.empty() ? "" : "--" + std::string(i.key),
                           cell(values), cell(i.fallback), cell(i.meaning));
    }
    out += "\n| Code | Hex | Name | Meaning |\n|---|---|---|---|\n";
    for (const auto& e : family.errors)
        out += fmt::format("| {} | {} | `{}` | {} |\n", e.code, hex_code(e.code), e.name, cell(e.meaning));
    return out;
}

}  // namespace tvn_om
