// INI items of the platform core: small files read and written whole.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "dpax.h"
#include "platform_init.h"
#include "tvn_fault.h"
#include "tvn_sysroot.h"

namespace {

std::string_view trim(std::string_view s) {
    auto space = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f'; };
    while (!s.empty() && space(s.front())) s.remove_prefix(1);
    while (!s.empty() && space(s.back())) s.remove_suffix(1);
    return s;
}

// A section header gives its name; anything else gives false.
bool section_of(std::string_view line, std::string_view& name) {
    line = trim(line);
    if (line.size() < 2 || line.front() != '[') return false;
    size_t close = line.find(']');
    if (close == std::string_view::npos) return false;
    name = trim(line.substr(1, close - 1));
    return true;
}

bool item_of(std::string_view line, std::string_view& key, std::string_view& value) {
    std::string_view t = trim(line);
    if (t.empty() || t.front() == ';' || t.front() == '#' || t.front() == '[') return false;
    size_t eq = t.find('=');
    if (eq == std::string_view::npos) return false;
    key = trim(t.substr(0, eq));
    value = trim(t.substr(eq + 1));
    return true;
}

// 0 and the lines, -2 when the file is missing, another -errno otherwise.
int read_lines(const std::string& path, std::vector<std::string>& lines) {
    FILE* f = std::fopen(path.c_str(), "re");
    if (f == nullptr) return errno != 0 ? -errno : -ENOENT;
    char* buf = nullptr;
    size_t cap = 0;
    ssize_t n;
    while ((n = ::getline(&buf, &cap, f)) >= 0) {
        std::string line(buf, static_cast<size_t>(n));
        if (!line.empty() && line.back() == '\n') line.pop_back();
        lines.push_back(std::move(line));
    }
    std::free(buf);
    std::fclose(f);
    return 0;
}

bool bad_text(const char* s) { return s == nullptr || std::strpbrk(s, "\r\n") != nullptr; }

}  // namespace

int32_t dpax_ini_read_item(const char* path, const char* section, const char* key, char* value,
                           uint32_t size) {
    if (path == nullptr || section == nullptr || key == nullptr || value == nullptr || size == 0)
        return -22;
    if (tvn::fail_at("dpax_ini_read_item")) return -1;
    std::vector<std::string> lines;
    if (int rc = read_lines(tvn::sysroot_path(path), lines); rc != 0) return rc;
    bool in_section = false;
    for (const std::string& line : lines) {
        std::string_view name, k, v;
        if (section_of(line, name)) {
            in_section = (name == section);
            continue;
        }
        if (!in_section || !item_of(line, k, v) || k != key) continue;
        if (v.size() + 1 > size) return -34;
        std::memcpy(value, v.data(), v.size());
        value[v.size()] = '\0';
        return 0;
    }
    return -61;
}

int32_t dpax_ini_write_item(const char* path, const char* section, const char* key,
                            const char* value) {
    if (path == nullptr || bad_text(section) || bad_text(key) || bad_text(value) ||
        *section == '\0' || *key == '\0' || std::strchr(section, ']') != nullptr ||
        std::strchr(key, '=') != nullptr)
        return -22;
    if (tvn::fail_at("dpax_ini_write_item")) return -1;
    std::string real = tvn::sysroot_path(path);
    std::vector<std::string> lines;
    int rc = read_lines(real, lines);
    if (rc != 0 && rc != -ENOENT) return rc;

    const std::string item = std::string(key) + "=" + value;
    bool in_section = false;
    long section_end = -1;  // index after the last item line of the section
    bool done = false;
    for (size_t i = 0; i < lines.size() && !done; ++i) {
        std::string_view name, k, v;
        if (section_of(lines[i], name)) {
            if (in_section) break;
            in_section = (name == section);
            if (in_section) section_end = static_cast<long>(i) + 1;
            continue;
        }
        if (!in_section) continue;
        if (!trim(lines[i]).empty()) section_end = static_cast<long>(i) + 1;
        if (item_of(lines[i], k, v) && k == key) {
            lines[i] = item;
            done = true;
        }
    }
    if (!done) {
        if (section_end >= 0) {
            lines.insert(lines.begin() + section_end, item);
        } else {
            if (!lines.empty() && !trim(lines.back()).empty()) lines.emplace_back();
            lines.push_back("[" + std::string(section) + "]");
            lines.push_back(item);
        }
    }

    if (int mk = tvn::make_parent_dirs(real); mk != 0) return mk;
    // Written beside the file and renamed over it, so a reader never sees
    // half a file and a full disk leaves the old one in place.
    std::string tmp = real + ".tmpXXXXXX";
    int fd = ::mkstemp(tmp.data());
    if (fd < 0) return -errno;
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    const char* p = text.data();
    size_t left = text.size();
    int err = 0;
    while (left > 0) {
        ssize_t n = ::write(fd, p, left);
        if (n < 0) {
            if (errno == EINTR) continue;
            err = -errno;
            break;
        }
        p += n;
        left -= static_cast<size_t>(n);
    }
    if (err == 0 && ::fchmod(fd, 0644) != 0) err = -errno;
    if (::close(fd) != 0 && err == 0) err = -errno;
    if (err == 0 && ::rename(tmp.c_str(), real.c_str()) != 0) err = -errno;
    if (err != 0) ::unlink(tmp.c_str());
    return err;
}
