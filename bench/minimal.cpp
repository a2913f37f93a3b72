// The least that a C++ program costs to start and to keep: it says that it is there, and waits.
//
//   vrdx_bench_minimal DESCRIPTOR
#include <iostream>
#include <string>
#include <unistd.h>

int main(int argc, char** argv) {
    if (argc != 2)
        return 1;
    const std::string ready = "ready 1\n";
    std::cerr << ready;
    const int descriptor = std::stoi(argv[1]);
    if (write(descriptor, ready.data(), ready.size()) != static_cast<ssize_t>(ready.size()))
        return 1;
    pause();
    return 0;
}
