#pragma once
// Files of a test: a temporary system root, environment overrides, and
// reading, writing and searching what a run left behind.
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace tvn_test {

// The whole file; empty when it is missing or not a regular file.
std::string read_text(const std::string& path);
// Writes the file, creating its folders.
void write_text(const std::string& path, const std::string& text);
// Every line of a JSON-lines file, oldest first; a line that does not parse
// becomes a discarded value rather than ending the read.
std::vector<nlohmann::json> read_jsonl(const std::string& path);
// Every regular file under `dir` (recursively) whose bytes contain `text`.
std::vector<std::string> files_containing(const std::string& dir, const std::string& text);

// A fresh temporary folder, removed with everything in it at the end
// (kept when TVN_KEEP_ROOT is set, for looking into a failed run).
class temp_dir {
public:
    explicit temp_dir(const std::string& prefix = "tvn_test");
    ~temp_dir();
    temp_dir(const temp_dir&) = delete;
    temp_dir& operator=(const temp_dir&) = delete;
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

// Sets (or, with nullptr, unsets) one environment variable for the life of
// the object, then puts back what was there.
class scoped_env {
public:
    scoped_env(const char* name, const char* value);
    ~scoped_env();
    scoped_env(const scoped_env&) = delete;
    scoped_env& operator=(const scoped_env&) = delete;

private:
    std::string name_;
    std::string old_;
    bool had_ = false;
};

// Points TVN_SYSROOT at a fresh temporary folder for the life of a test.
class scoped_sysroot {
public:
    scoped_sysroot() : env_("TVN_SYSROOT", dir_.path().c_str()) {}
    const std::string& root() const { return dir_.path(); }
    // An absolute fixed path as it lies under this root.
    std::string path(const std::string& abs) const { return root() + abs; }

private:
    temp_dir dir_;  // made before TVN_SYSROOT points at it, removed after
    scoped_env env_;
};

}  // namespace tvn_test
