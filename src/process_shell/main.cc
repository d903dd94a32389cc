#include <cstdio>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "process_shell.h"

// The exit status is always 0: the supervisor restarts the process and
// never reads it; ps_main's code only reaches the log.
int main(int argc, char** argv) {
    // Before anything is created: nothing this process makes is group- or
    // world-writable, and the descriptor limit is as high as allowed so that
    // idle peers cannot starve the service's own sockets.
    ::umask(022);
    rlimit fds{};
    if (::getrlimit(RLIMIT_NOFILE, &fds) == 0 && fds.rlim_cur < fds.rlim_max) {
        fds.rlim_cur = fds.rlim_max;
        (void)::setrlimit(RLIMIT_NOFILE, &fds);
    }
    int32_t rc = ps_main(argc, argv);
    ps_log_flush(rc);
    std::fflush(stdout);
    std::fflush(stderr);
    _exit(0);
}
