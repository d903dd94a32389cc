// The families' declarations against what uses them: the command table
// serves each declared code with the declared class, codes and item options
// are not given twice, and each family README carries the tables
// `tvn_om vocab` prints.
#include <cxxabi.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <typeinfo>

#include <gtest/gtest.h>

#include "common/tvn_om_common_vocab.h"
#include "auth/tvn_omitf_auth_vocab.h"
#include "kerberos/tvn_omitf_kerberos_vocab.h"
#include "nfs/tvn_omitf_nfs_vocab.h"
#include "usermapping/tvn_omitf_usermapping_vocab.h"
#include "windows_users/tvn_omitf_windows_users_vocab.h"
#include "tvn_cm_ombase.h"
#include "tvn_cm_omagent.h"
#include "tvn_test_process.h"

namespace {

const tvn_om_vocab::family_def* const kFamilies[] = {
    &tvn_om_common::family,          &tvn_nfs::vocab::family, &tvn_auth::vocab::family,
    &tvn_usermapping::vocab::family, &tvn_win::vocab::family, &tvn_krb::vocab::family,
};

std::string class_name(const tvn_cm_ombase& h) {
    int status = 0;
    std::unique_ptr<char, decltype(&std::free)> name(abi::__cxa_demangle(typeid(h).name(), nullptr, nullptr, &status),
                                                     &std::free);
    return status == 0 ? name.get() : typeid(h).name();
}

std::string read_file(const std::string& path) {
    std::ifstream in(path);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

TEST(Vocabulary, EveryDeclaredCodeIsServedByTheDeclaredClass) {
    tvn_cm_register_all_commands();
    for (const auto* family : kFamilies) {
        for (const auto& command : family->commands) {
            for (uint64_t code : {command.code, command.second_code}) {
                if (code == 0) continue;
                std::unique_ptr<tvn_cm_ombase> h(tvn_cm_omagent::Get_Processor(code));
                ASSERT_NE(h, nullptr) << command.words;
                EXPECT_EQ(class_name(*h), command.handler) << family->name << " " << command.words;
                EXPECT_EQ(h->get_opcode(), code);
            }
        }
    }
    tvn_cm_omagent::clear_processors();
}

TEST(Vocabulary, NoCodeOrOptionIsDeclaredTwice) {
    std::set<uint64_t> opcodes;
    for (const auto* family : kFamilies) {
        std::set<int32_t> errors;
        for (const auto& e : family->errors) {
            EXPECT_TRUE(errors.insert(e.code).second) << family->name << " code " << e.code;
            EXPECT_FALSE(e.meaning.empty()) << e.name;
        }
        for (const auto& c : family->commands)
            for (uint64_t code : {c.code, c.second_code})
                if (code != 0) {
                    EXPECT_TRUE(opcodes.insert(code).second) << c.words;
                }
        // One option name is one item wherever a command may take it.
        std::map<std::pair<std::string_view, std::string_view>, uint32_t> options;
        for (const auto& i : family->items) {
            if (i.key.empty()) continue;
            auto [it, fresh] = options.emplace(std::pair{i.key, i.scope}, i.id);
            EXPECT_TRUE(fresh || it->second == i.id) << family->name << " --" << i.key;
            for (const auto& w : i.words) EXPECT_TRUE(i.allows(w.value));
            if (!i.fallback.empty() && !i.words.empty()) {
                EXPECT_TRUE(i.value_of(i.fallback)) << i.key;
            }
        }
    }
}

TEST(Vocabulary, FamilyReadmesCarryTheDeclaredTables) {
    for (const auto* family : kFamilies) {
        if (family->commands.empty()) continue;
        std::string readme = read_file(std::string(TVN_OM_ITF_DIR) + "/" + std::string(family->name) + "/README.md");
        const std::string begin = "<!-- vocab:begin -->\n", end = "<!-- vocab:end -->";
        size_t a = readme.find(begin), b = readme.find(end);
        ASSERT_NE(a, std::string::npos) << family->name << " README has no vocabulary section";
        ASSERT_NE(b, std::string::npos);
        std::string in_readme = readme.substr(a + begin.size(), b - a - begin.size());

        tvn_test::process tool({tvn_test::bin_path("tvn_om"), "vocab", std::string(family->name)});
        ASSERT_EQ(tool.wait(std::chrono::seconds(20)), 0) << tool.err();
        EXPECT_EQ(in_readme, tool.out()) << "run `tvn_om vocab " << family->name
                                         << "` and paste it into the README between the vocab lines";
    }
}

}  // namespace
