#pragma once
// Fixed absolute paths of the platform (/KSD/..., /var/log/platform, ...) are
// resolved under $TVN_SYSROOT so that a whole node can live in one folder.
#include <string>
#include <string_view>

namespace tvn {

// The system root: $TVN_SYSROOT when set and not empty, else "" (the real root).
std::string sysroot();

// Maps an absolute path onto the system root. A relative path is returned as is.
std::string sysroot_path(std::string_view abs_path);

// Creates a folder and its missing parents with the given mode. 0 or -errno.
int make_dirs(const std::string& path, unsigned mode = 0755);

// Creates the missing parent folders of a file. 0 or -errno.
int make_parent_dirs(const std::string& file_path, unsigned mode = 0755);
// Opens a log-like file for appending: never through a planted link, with a
// fixed mode whatever the umask, and only a regular file. The descriptor,
// or -errno (-EINVAL for something that is not a regular file).
int open_append_regular(const std::string& path, unsigned mode = 0640);

}  // namespace tvn
