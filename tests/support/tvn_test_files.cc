#include "tvn_test_files.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tvn_sysroot.h"

namespace fs = std::filesystem;

namespace tvn_test {

std::string read_text(const std::string& path) {
    std::error_code ec;
    if (!fs::is_regular_file(path, ec)) return {};
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void write_text(const std::string& path, const std::string& text) {
    tvn::make_parent_dirs(path);
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

std::vector<nlohmann::json> read_jsonl(const std::string& path) {
    std::vector<nlohmann::json> out;
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);)
        if (!line.empty()) out.push_back(nlohmann::json::parse(line, nullptr, false));
    return out;
}

std::vector<std::string> files_containing(const std::string& dir, const std::string& text) {
    std::vector<std::string> found;
    std::error_code ec;
    for (fs::recursive_directory_iterator it(dir, fs::directory_options::skip_permission_denied, ec), end;
         !ec && it != end; it.increment(ec)) {
        if (!it->is_regular_file(ec)) continue;
        if (read_text(it->path().string()).find(text) != std::string::npos) found.push_back(it->path().string());
    }
    return found;
}

temp_dir::temp_dir(const std::string& prefix) {
    std::string tmpl = (fs::temp_directory_path() / (prefix + "_XXXXXX")).string();
    if (::mkdtemp(tmpl.data()) != nullptr) path_ = tmpl;
}

temp_dir::~temp_dir() {
    std::error_code ec;
    if (!path_.empty() && std::getenv("TVN_KEEP_ROOT") == nullptr) fs::remove_all(path_, ec);
}

scoped_env::scoped_env(const char* name, const char* value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old, had_ = true;
    if (value != nullptr)
        ::setenv(name, value, 1);
    else
        ::unsetenv(name);
}

scoped_env::~scoped_env() {
    if (had_)
        ::setenv(name_.c_str(), old_.c_str(), 1);
    else
        ::unsetenv(name_.c_str());
}

}  // namespace tvn_test
