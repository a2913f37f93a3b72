// What an undo of the last recalls needs, in the gateway's database: it outlives the gateway.
#pragma once

#include "gateway/presets/recall_memory.h"

namespace gateway {

class access_store;

class recall_store {
public:
    // The store must outlive it.
    explicit recall_store(access_store& store) : store_(store) {}

    // What the disk has goes into the memory. False and a sentence in *problem when it cannot be read.
    bool read(recall_memory* memory, std::string* problem) const;

    // Brings the disk to what the memory knows. False when something is still unwritten; then is_busy() says
    // whether another program writes, and it may be asked again at once.
    bool write(recall_memory* memory);
    bool is_busy() const;

private:
    bool write_one(const std::string& preset, const remembered_recall* known, std::string* problem);

    access_store& store_;
};

} // namespace gateway
