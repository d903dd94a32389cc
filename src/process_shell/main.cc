#include <cstdio>

#include <unistd.h>

#include "process_shell.h"

// The exit status is always 0: the supervisor restarts the process and
// never reads it; ps_main's code only reaches the log.
int main(int argc, char** argv) {
    int32_t rc = ps_main(argc, argv);
    ps_log_flush(rc);
    std::fflush(stdout);
    std::fflush(stderr);
    _exit(0);
}
