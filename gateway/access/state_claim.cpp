#include "state_claim.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace gateway {

std::unique_ptr<state_claim> state_claim::take(const std::string& state_directory, std::string* problem) {
    const int directory = open(state_directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory < 0) {
        *problem = "the state directory " + state_directory + " cannot be read: " + std::strerror(errno);
        return nullptr;
    }
    std::unique_ptr<state_claim> claim(new state_claim(directory));
    if (flock(directory, LOCK_EX | LOCK_NB) == 0)
        return claim;
    *problem = errno == EWOULDBLOCK
                   ? "another vrdx_gateway serves with the state directory " + state_directory +
                         "; possible: end it, or --state DIR"
                   : "the state directory " + state_directory + " cannot be claimed: " + std::strerror(errno);
    return nullptr;
}

state_claim::~state_claim() {
    close(directory_);
}

} // namespace gateway
