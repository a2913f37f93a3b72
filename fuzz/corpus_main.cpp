// Runs a target on files, without a fuzzer: each entry of its corpus is a regression test.
// Usage: fuzz_TARGET DIRECTORY-OR-FILE ...
#include "target.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace {

namespace fs = std::filesystem;

void run_file(const fs::path& path) {
    std::ifstream stream(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    std::printf("%s\n", path.c_str());
    std::fflush(stdout); // the last name printed is the one that failed
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

int run_all(const fs::path& path) {
    if (fs::is_regular_file(path)) {
        run_file(path);
        return 1;
    }
    int count = 0;
    for (const auto& entry : fs::directory_iterator(path))
        count += run_all(entry.path());
    return count;
}

} // namespace

int main(int argc, char** argv) {
    LLVMFuzzerInitialize(&argc, &argv);
    LLVMFuzzerTestOneInput(nullptr, 0);
    int count = 0;
    for (int i = 1; i < argc; ++i)
        count += run_all(argv[i]);
    std::printf("%d inputs\n", count);
    return count > 0 ? 0 : 1; // a corpus that is not there tests nothing
}
