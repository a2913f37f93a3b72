// What a test and the calls interposed in the driver share: a mapped file. The test writes the plan, the
// driver counts; both at any time, as each field stands alone.
#pragma once

#include <atomic>
#include <cstdint>

enum class fault_call : std::uint32_t {
    none,
    allocate,
    write_bytes,
    sync_file,
    rename_file,
    open_file,
    accept_client,
    make_pipe,
    fork_child,
    duplicate,
    execute,
};

struct fault_plan {
    std::atomic<std::int64_t> clock_offset_us; // added to the monotonic clock; only ever grows
    std::atomic<std::uint32_t> clock_fails;    // not 0: the monotonic clock cannot be read
    std::atomic<std::uint32_t> call;           // fault_call: what is counted and fails
    std::atomic<std::uint64_t> first;          // number of the first call that fails, 1 and up
    std::atomic<std::uint64_t> failures;       // how many fail in a row
    std::atomic<std::int32_t> error;           // errno of the failure
    std::atomic<std::uint32_t> files_only;     // not 0: writes count only when they go to a regular file
    std::atomic<std::uint64_t> seen;           // calls counted so far
    std::atomic<std::uint32_t> users_stand_in; // not 0: clients are of `user`, whoever they are
    std::atomic<std::uint32_t> user;
};

inline constexpr const char* fault_plan_variable = "VRDX_FAULT_PLAN"; // the file's path, in the environment
