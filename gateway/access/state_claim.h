// One gateway at a time serves with a state directory: each keeps the locks in memory, and two would not know
// of each other's. Commands that only write tokens need no claim.
#pragma once

#include <memory>
#include <string>

namespace gateway {

class state_claim {
public:
    // The directory is there. Null and a sentence in *problem when another process holds it. Held until this
    // is destroyed or the process ends, however it ends.
    static std::unique_ptr<state_claim> take(const std::string& state_directory, std::string* problem);
    ~state_claim();
    state_claim(const state_claim&) = delete;
    state_claim& operator=(const state_claim&) = delete;

private:
    explicit state_claim(int directory) : directory_(directory) {}
    int directory_;
};

} // namespace gateway
