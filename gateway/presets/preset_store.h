// Presets in the gateway's database. Each change is on the disk before it is answered.
#pragma once

#include "gateway/presets/preset.h"

#include <map>
#include <memory>

namespace gateway {

class access_store;

struct preset_answer {
    enum class kind {
        done,     // on the disk
        not_here, // there is no such preset for that token
        taken,    // another preset, which that token does not see, has the name
        too_many, // presets, or bytes of all of them
        failed,   // not written, or not read; nothing has changed
    } result = kind::failed;
    std::string problem; // of all but done: a sentence that says what is possible
};

class preset_store {
public:
    // The store must outlive it. Null and a sentence in *problem when the presets cannot be read.
    static std::unique_ptr<preset_store> open(access_store& store, std::string* problem);

    // Those that the token may see, by name. Valid until the next change.
    std::vector<const preset_row*> list(const token& who) const;

    // With all its takes, read from the database.
    preset_answer read(std::string_view name, const token& who, preset* found) const;

    // Writes it, or replaces the one of that name. The name, the takes and the rights on them were looked at.
    preset_answer write(const std::string& name, const std::vector<preset_take>& takes, const token& who,
                        std::int64_t now);

    preset_answer remove(std::string_view name, const token& who);

private:
    explicit preset_store(access_store& store) : store_(store) {}
    const preset_row* find(std::string_view name, const token& who) const;

    access_store& store_;
    std::map<std::string, preset_row, std::less<>> rows_;
    std::size_t bytes_ = 0; // of all rows
};

} // namespace gateway
