// The one file that a backup is: a line "vrdx_gateway backup 1", then for each database a line "NAME BYTES"
// and its bytes, then a line "end HASH" with the hash of all that stands before it.
#pragma once

#include "gateway/access/stream_hash.h"

#include <cstdint>
#include <functional>

namespace gateway {

// All functions return false and one sentence in *problem when something went wrong.
class backup_writing {
public:
    // `fd` stays the caller's.
    backup_writing(int fd, std::string name) : fd_(fd), name_(std::move(name)) {}
    bool begin(std::string* problem);
    bool add(const std::string& entry_name, const std::string& path, std::string* problem);
    // It is on the disk then.
    bool end(std::string* problem);

private:
    bool write(std::string_view bytes, std::string* problem);

    int fd_;
    std::string name_;
    stream_hash hash_;
};

// Reads all of it from `fd`. `begin_entry` gets each name and gives a descriptor for its bytes, which stays
// the caller's; below 0 with a sentence in *problem ends the reading. A file that was changed or cut short is
// told at its end: nothing of it is to be used before this returns true.
bool read_backup(int fd, const std::string& name,
                 const std::function<int(const std::string& entry_name, std::string* problem)>& begin_entry,
                 std::string* problem);

} // namespace gateway
