// A router with something of everything, for tests.
#pragma once

#include "gateway/sites/site_messages.h"

inline vrdx::router_picture picture_of(std::size_t inputs, std::size_t outputs) {
    vrdx::router_picture picture;
    picture.epoch = "0123456789abcdef";
    picture.sequence = 7;
    picture.split_levels = true;
    picture.backend = vrdx::backend_state::running;
    picture.link = vrdx::link_state::up;
    picture.link_text = "link";
    picture.last_take = 3;
    for (std::size_t number = 1; number <= inputs; number++)
        picture.inputs.push_back({true, "In " + std::to_string(number), {{"kind", "sdi"}}});
    for (std::size_t number = 1; number <= outputs; number++) {
        vrdx::picture_output output;
        output.told = true;
        output.name = "Out " + std::to_string(number);
        output.sources = {1, vrdx::source_unknown};
        picture.outputs.push_back(output);
    }
    if (outputs > 0) {
        picture.outputs[0].waits_ms = 5;
        picture.outputs[0].taken = vrdx::last_taker{1, 2, "desk"};
        picture.outputs[0].properties = {{"lock", "no"}};
    }
    return picture;
}

inline gateway::output_locks locks_of_first_output() {
    return {{1, {gateway::lock_state::protect, 0, "desk", "on air", 1000}}};
}
