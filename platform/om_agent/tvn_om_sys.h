#pragma once
// System functions a client of the OM agent library hands to the library:
// the message layer (Msg_Register*Func) and the agent (OMM_AgentRegSysInfo)
// each keep their own set. The library falls back to plain libc when a
// function was not registered.
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <pthread.h>

using OM_SYS_LOG_FN = void (*)(int level, const char* text);
using OM_SYS_SLEEP_FN = void (*)(uint32_t milliseconds);
using OM_SYS_MALLOC_FN = void* (*)(size_t size);
using OM_SYS_FREE_FN = void (*)(void* block);
// Fills *out with the local time; 0 on success.
using OM_SYS_LOCALTIME_FN = int32_t (*)(struct tm* out);
// Seconds since the epoch.
using OM_SYS_GETTIME_FN = uint64_t (*)();
// Writes the local node id; 0 on success.
using OM_SYS_LOCAL_NID_FN = int32_t (*)(uint32_t* node_id);
// Starts a joinable thread running entry(arg); 0 on success, *thread set.
using OM_SYS_CREATE_THREAD_FN = int32_t (*)(pthread_t* thread, void* (*entry)(void*), void* arg,
                                            const char* name);

struct OM_SYS_FUNCS {
    OM_SYS_LOG_FN log = nullptr;
    OM_SYS_SLEEP_FN sleep = nullptr;
    OM_SYS_MALLOC_FN malloc_fn = nullptr;
    OM_SYS_FREE_FN free_fn = nullptr;
    OM_SYS_LOCALTIME_FN localtime = nullptr;
    OM_SYS_GETTIME_FN gettime = nullptr;
    OM_SYS_LOCAL_NID_FN local_nid = nullptr;
    OM_SYS_CREATE_THREAD_FN create_thread = nullptr;
};
