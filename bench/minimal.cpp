// The least that a C++ program costs to start and to keep: it says that it is there, and waits. With
// MILLISECONDS it waits once for so long before it says so, as a loop does between two passes.
//
//   vrdx_bench_minimal DESCRIPTOR [MILLISECONDS]
#include <ctime>
#include <iostream>
#include <string>
#include <unistd.h>

int main(int argc, char** argv) {
    if (argc != 2 && argc != 3)
        return 1;
    const std::string ready = "ready 1\n";
    std::cerr << ready;
    const int descriptor = std::stoi(argv[1]);
    if (argc == 3) {
        const timespec wait{0, std::stol(argv[2]) * 1000000};
        nanosleep(&wait, nullptr);
    }
    if (write(descriptor, ready.data(), ready.size()) != static_cast<ssize_t>(ready.size()))
        return 1;
    pause();
    return 0;
}
