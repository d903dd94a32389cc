// tvn_om: the operator's command-line tool for the OM agent of tvn_cm.
#include <string>
#include <vector>

#include <google/protobuf/stubs/common.h>

#include "tvn_om_cli.h"

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    int rc = tvn_om::run_cli(args);
    google::protobuf::ShutdownProtobufLibrary();
    return rc;
}
