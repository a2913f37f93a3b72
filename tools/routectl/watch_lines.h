// What changed between two pictures of a router, line by line.
#pragma once

#include "client_watch.h"
#include "json_output.h"

#include <string>
#include <vector>

struct watch_line {
    std::string text;   // for people, on one line
    json_object object; // the same for programs: "change" says what, then "before" and "after"
};

// The state that a change is compared with. The sources before an unconfirmed take show whether that take was
// rolled back, or the router has reported something else.
struct watched_picture {
    vrdx::router_picture picture;
    std::vector<vrdx::level_sources> settled; // of each output, when nothing waited last
};

// Lines for all that differs, in this order: backend, link, size, inputs, outputs; of what `news` names, or
// of everything when `all`. *known becomes the new picture.
std::vector<watch_line> lines_of_change(watched_picture* known, const vrdx::router_picture& now,
                                        const vrdx::picture_news& news, bool all);

// A take that was decided.
watch_line line_of_take(const vrdx::take_record& record, const vrdx::router_picture& picture);

watch_line line_of_lost_takes(std::uint64_t count);

// The first line: what there is at the beginning.
watch_line line_of_beginning(const vrdx::router_picture& picture);

// The driver came or went.
watch_line line_of_driver(bool there);
