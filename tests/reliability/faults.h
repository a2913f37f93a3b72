// The test's side of the interposed calls: a driver whose clock and whose luck the test controls.
#pragma once

#include "fault_plan.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <limits>
#include <new>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

// Short by default; VRDX_LONG=1 asks for the whole.
inline bool long_form() {
    const char* wanted = std::getenv("VRDX_LONG");
    return wanted != nullptr && std::string(wanted) == "1";
}

constexpr std::uint64_t for_ever = std::numeric_limits<std::uint64_t>::max();

class faults {
public:
    explicit faults(const std::string& path) : path_(path) {
        const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        void* mapped = MAP_FAILED;
        if (ftruncate(fd, sizeof(fault_plan)) == 0)
            mapped = mmap(nullptr, sizeof(fault_plan), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        close(fd);
        if (mapped == MAP_FAILED)
            throw std::runtime_error("cannot map " + path);
        plan_ = new (mapped) fault_plan{};
    }
    ~faults() {
        munmap(plan_, sizeof(fault_plan));
    }
    faults(const faults&) = delete;
    faults& operator=(const faults&) = delete;

    // For the driver's environment.
    [[nodiscard]] std::vector<std::string> variables() const {
        return {std::string("LD_PRELOAD=") + VRDX_INTERPOSED_CALLS,
                std::string(fault_plan_variable) + "=" + path_};
    }

    void advance_clock(std::int64_t milliseconds) {
        plan_->clock_offset_us += milliseconds * 1000;
    }
    void break_clock() {
        plan_->clock_fails = 1;
    }
    // From now on, counting anew: calls number `first` and up fail, `failures` of them.
    void fail(fault_call call, std::uint64_t first, std::uint64_t failures, int error) {
        plan_->call = static_cast<std::uint32_t>(fault_call::none);
        plan_->seen = 0;
        plan_->first = first;
        plan_->failures = failures;
        plan_->error = error;
        plan_->call = static_cast<std::uint32_t>(call);
    }
    // Those that the driver accepts from now on.
    void let_clients_be_of(uid_t user) {
        plan_->user = user;
        plan_->users_stand_in = 1;
    }
    void fail_writes_to_files_only() {
        plan_->files_only = 1;
    }
    [[nodiscard]] std::uint64_t seen() const {
        return plan_->seen;
    }
    [[nodiscard]] bool has_struck() const {
        return plan_->seen >= plan_->first;
    }

private:
    std::string path_;
    fault_plan* plan_ = nullptr;
};
