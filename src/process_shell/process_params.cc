// Command line of the process shell.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <getopt.h>

#include "process_internal.h"
#include "process_shell.h"

const char* const PS_USAGE_TEXT =
    "Usage: [options] \n\nOptions: \n-l | --lsid        process id\n-v | --version        process "
    "version\n-f | --file        config file\n-s | --startType   start type:s/r for start/restart\nYou "
    "must supply lsid and version at least\nwith appropriate extensions for the file formats.\n\n";

namespace ps_internal {

params& cmd_params() {
    static params p;
    return p;
}

void reset_params() { cmd_params() = params{}; }

}  // namespace ps_internal

namespace {

void print_usage() { std::fputs(PS_USAGE_TEXT, stderr); }

// Only plain decimal digits: a sign, a blank or trailing text is refused
// rather than silently read as 0 or wrapped.
bool parse_decimal(const char* text, uint64_t& out) {
    if (text == nullptr || *text < '0' || *text > '9') return false;
    char* end = nullptr;
    errno = 0;
    unsigned long long v = std::strtoull(text, &end, 10);
    if (errno != 0 || *end != '\0') return false;
    out = v;
    return true;
}

}  // namespace

int32_t ps_parse_params(int argc, char** argv) {
    using namespace ps_internal;
    static const struct option kLong[] = {
        {"lsid", required_argument, nullptr, 'l'},
        {"version", required_argument, nullptr, 'v'},
        {"file", required_argument, nullptr, 'f'},
        {"startType", required_argument, nullptr, 's'},
        {nullptr, 0, nullptr, 0},
    };
    params& p = cmd_params();
    if (argc < 1 || argv == nullptr) {
        PS_LOG(6, "PS Lack of params 0x%lx, see usage for more info", static_cast<unsigned long>(p.seen));
        print_usage();
        return 4;
    }
    // The usage text is the only thing printed for a bad option.
    opterr = 0;
    optind = 0;  // full restart, also when the shell has parsed before
    int c;
    while ((c = getopt_long(argc, argv, "l:v:f:s:", kLong, nullptr)) != -1) {
        const char* arg = optarg;
        switch (c) {
            case 'l':
                if (!parse_decimal(arg, p.lsid)) goto invalid;
                p.seen |= SEEN_LSID;
                break;
            case 'v':
                if (!parse_decimal(arg, p.version)) goto invalid;
                p.seen |= SEEN_VERSION;
                break;
            case 'f':
                p.file = arg;
                p.seen |= SEEN_FILE;
                break;
            case 's':
                p.start_type = arg;
                p.seen |= SEEN_START_TYPE;
                break;
            default:
                goto invalid;
        }
        continue;
    invalid : {
        // getopt leaves the option in optopt (0 for an unknown long one) and
        // the word it choked on just before optind.
        int opt = c == '?' || c == ':' ? (optopt != 0 ? optopt : '?') : c;
        const char* word = arg;
        if (word == nullptr) word = optind > 0 && optind <= argc ? argv[optind - 1] : "";
        PS_LOG(6, "PS Invalid parameters: %c-%s.", opt, word != nullptr ? word : "");
        print_usage();
        return 4;
    }
    }
    for (int i = optind; i < argc; ++i)
        if (argv[i] != nullptr) PS_LOG(6, "PS Ignore unexpected argument: %s.", argv[i]);

    if ((p.seen & (SEEN_LSID | SEEN_VERSION)) != (SEEN_LSID | SEEN_VERSION)) {
        PS_LOG(6, "PS Lack of params 0x%lx, see usage for more info", static_cast<unsigned long>(p.seen));
        print_usage();
        return 4;
    }
    (void)ps_attrs_parse(p.seen & SEEN_FILE ? p.file.c_str() : nullptr);
    return 0;
}

uint64_t ps_get_lsid() { return ps_internal::cmd_params().lsid; }
uint64_t ps_get_version() { return ps_internal::cmd_params().version; }
const char* ps_get_start_type() { return ps_internal::cmd_params().start_type.c_str(); }
