#pragma once
// Single-instance guard: an exclusive, non-blocking lock on the PID file
// /KSD/component/protocol/<name>.pid (under the system root), held for the
// life of the object. The file then holds the owner's process id as "%d\n".
#include <string>

class tvn_once_launch {
public:
    explicit tvn_once_launch(const std::string& name);
    ~tvn_once_launch();
    tvn_once_launch(const tvn_once_launch&) = delete;
    tvn_once_launch& operator=(const tvn_once_launch&) = delete;

    // True when this process is the only instance (it then holds the lock).
    // A refused check leaves the other instance's file as it was.
    bool check();
    // Lets the lock go (the destructor does it too); the file stays.
    void release();
    const std::string& pid_file() const { return pid_file_; }

private:
    std::string pid_file_;
    int fd_ = -1;
};
