// What the router has confirmed of each output: last, and before its last change, whoever made it. The one is
// what it shows while a take waits, the other is where one can go back to.
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
    // The same of all outputs of a picture that began anew: what was confirmed meanwhile is not known.
    void note_anew(const vrdx::router_picture& picture);

    // Takes of the driver's record, in its order: of the time before anything was noted. The outputs that
    // have something earlier by it, ascending.
    std::vector<int> enter(const vrdx::router_picture& picture,
                           const std::vector<vrdx::take_record>& records);

    // What the output showed before its last confirmed change. `output` from 1. Nothing: nobody knows it.
    [[nodiscard]] std::optional<vrdx::level_sources> of(int output) const;

    // What the router has confirmed of the output last, levels that nobody knows among it. `output` from 1.
    // Nothing: it was not confirmed since the picture began.
    [[nodiscard]] std::optional<vrdx::level_sources> confirmed(int output) const;

private:
    struct place {
        std::optional<vrdx::level_sources> told; // confirmed last in this picture, perhaps not on all levels
        vrdx::level_sources confirmed;           // last, on all levels
        vrdx::level_sources before;              // what was confirmed before that
    };
    std::vector<place> places_;
};

} // namespace gateway
