#include "sim_nfs_options.h"

#include <arpa/inet.h>

#include <algorithm>

namespace tvn::sim {

namespace {

std::string_view trim(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t')) s.remove_suffix(1);
    return s;
}

// Words with the same category exclude each other.
struct word_category {
    std::string_view word;
    std::string_view category;
};
constexpr word_category kFlagWords[] = {
    {"sync", "sync"},           {"async", "sync"},
    {"all_squash", "all_squash"}, {"no_all_squash", "all_squash"},
    {"root_squash", "root_squash"}, {"no_root_squash", "root_squash"},
    {"ro", "access"},           {"rw", "access"},           {"na", "access"},
    {"secure", "secure"},       {"insecure", "secure"},
};

std::string join(const std::vector<std::string>& words) {
    std::string out;
    for (const auto& w : words) {
        if (!out.empty()) out += ',';
        out += w;
    }
    return out;
}

}  // namespace

std::vector<std::string> split_option_words(std::string_view list) {
    std::vector<std::string> words;
    size_t pos = 0;
    while (pos <= list.size()) {
        size_t comma = list.find(',', pos);
        if (comma == std::string_view::npos) comma = list.size();
        std::string_view piece = trim(list.substr(pos, comma - pos));
        if (!piece.empty()) words.emplace_back(piece);
        pos = comma + 1;
    }
    return words;
}

std::string option_category(std::string_view word) {
    for (const auto& fw : kFlagWords)
        if (fw.word == word) return std::string(fw.category);
    // "sec=unix", "chs=3", "accesskrb5i=rw", "anonuid=1000": the key names it.
    size_t eq = word.find('=');
    return std::string(eq == std::string_view::npos ? word : word.substr(0, eq));
}

std::string merge_export_options(std::string_view stored, std::string_view change) {
    std::vector<std::string> words = split_option_words(stored);
    for (const auto& w : split_option_words(change)) {
        const std::string cat = option_category(w);
        auto it = std::find_if(words.begin(), words.end(),
                               [&](const std::string& s) { return option_category(s) == cat; });
        if (it != words.end())
            *it = w;
        else
            words.push_back(w);
    }
    return join(words);
}

std::string normalise_export_options(std::string_view list) {
    return merge_export_options("", list);
}

bool is_ip_address(std::string_view text) {
    std::string s(text);
    unsigned char buf[16];
    return inet_pton(AF_INET, s.c_str(), buf) == 1 || inet_pton(AF_INET6, s.c_str(), buf) == 1;
}

nfs_client_class classify_nfs_client(std::string_view name) {
    if (name == "*") return {NFS_CLIENT_ANY, 5};
    if (!name.empty() && name.front() == '@') return {NFS_CLIENT_NETGROUP, 4};
    if (size_t slash = name.find('/'); slash != std::string_view::npos &&
                                       is_ip_address(name.substr(0, slash)))
        return {NFS_CLIENT_NETWORK, 2};
    if (is_ip_address(name)) return {NFS_CLIENT_IP, 1};
    return {NFS_CLIENT_HOST, 3};
}

}  // namespace tvn::sim
