#include "board.h"

#include <climits>
#include <ctime>
#include <fcntl.h>
#include <linux/futex.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

std::uint64_t clock_ns() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000000000 + static_cast<std::uint64_t>(now.tv_nsec);
}

bench_board* map_board(const std::string& path, bool fresh) {
    const int fd = open(path.c_str(), O_RDWR | O_CLOEXEC | (fresh ? O_CREAT | O_TRUNC : 0), 0600);
    if (fd < 0)
        return nullptr;
    void* memory = MAP_FAILED;
    if (!fresh || ftruncate(fd, sizeof(bench_board)) == 0)
        memory = mmap(nullptr, sizeof(bench_board), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    return memory == MAP_FAILED ? nullptr : static_cast<bench_board*>(memory);
}

void raise_event(bench_board& board) {
    board.events.fetch_add(1);
    syscall(SYS_futex, &board.events, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

void wait_for_event(bench_board& board, std::uint32_t seen, int milliseconds) {
    const timespec limit{milliseconds / 1000, (milliseconds % 1000) * 1000000L};
    syscall(SYS_futex, &board.events, FUTEX_WAIT, seen, &limit, nullptr, 0);
}
