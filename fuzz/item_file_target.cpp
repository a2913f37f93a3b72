// The item file. Whatever it says, the program that the driver would start lies under the prefix, and the
// same file read twice gives the same settings.
#include "backend.h"
#include "driver.h"
#include "driver_state.h"
#include "target.h"
#include "vrdx.h"

#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>

namespace {

constexpr std::string_view prefix = VRDX_BACKEND_PREFIX;

metadata_v4_context* item_in_memory() {
    auto* context = new metadata_v4_context;
    context->file_fd = memfd_create("item", MFD_CLOEXEC);
    if (context->file_fd < 0)
        std::abort();
    return context;
}

void write_item(int fd, std::string_view text) {
    FUZZ_CHECK(ftruncate(fd, 0) == 0);
    FUZZ_CHECK(pwrite(fd, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()));
}

void examine_from_start() {
    FUZZ_CHECK(lseek(vrdx_meta->file_fd, 0, SEEK_SET) == 0);
    FUZZ_CHECK(examine_file() == 0);
}

void check_backend_choice() {
    if (backend_path.empty())
        return;
    FUZZ_CHECK(backend_path.starts_with(prefix));
    const std::string name = backend_path.substr(prefix.size());
    FUZZ_CHECK(name == driver_name && name.starts_with("route_"));
    FUZZ_CHECK(name.find('/') == std::string::npos && name.find('.') == std::string::npos);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    reset_driver();
    driver_name.clear();
    stay_resident = false;
    last_notes.clear();
    if (vrdx_meta == nullptr)
        vrdx_meta = item_in_memory();
    write_item(vrdx_meta->file_fd, as_text(data, size));
    examine_from_start();
    check_backend_choice();
    const std::string path = backend_path;
    const bool resident = stay_resident;
    examine_from_start();
    FUZZ_CHECK(backend_path == path && stay_resident == resident);
    return 0;
}
