// What each output showed before its last confirmed change, whoever made it: where one can go back to.
#pragma once

#include "packet_client.h"

#include <optional>
#include <vector>

namespace gateway {

class earlier_sources {
public:
    // The output, from 1 and within the picture, may show something else now. What the router has not
    // confirmed, or nobody knows on all levels, does not count.
    void note(const vrdx::router_picture& picture, int output);
    void note_all(const vrdx::router_picture& picture);

    // Takes of the driver's record, in its order: of the time before anything was noted. The outputs that
    // have something earlier by it, ascending.
    std::vector<int> enter(const vrdx::router_picture& picture,
                           const std::vector<vrdx::take_record>& records);

    // `output` from 1. Nothing: nobody knows it.
    [[nodiscard]] std::optional<vrdx::level_sources> of(int output) const;

private:
    struct place {
        vrdx::level_sources confirmed; // last, on all levels
        vrdx::level_sources before;    // what was confirmed before that
    };
    std::vector<place> places_;
};

} // namespace gateway
