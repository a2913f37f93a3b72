#include "checks.h"

#include <csignal>

namespace {

constexpr std::chrono::seconds time_to_end{2};

bool ends(conversation& talk) {
    return wait_for(talk, time_to_end, [&] { return child_has_ended(talk.child); });
}

check_outcome has_to_end(conversation& talk) {
    const bool ended = ends(talk);
    remove_child(talk.child);
    return ended ? passed() : failed("it still ran after 2 s");
}

void close_all_ends(conversation& talk) {
    close_end(talk.child.input);
    close_end(talk.child.output);
    close_end(talk.child.log);
}

// Its output stays open while it ends, so that only the end of its input can tell it to end.
check_outcome ends_with_its_input(conversation& talk) {
    close_end(talk.child.input);
    if (!ends(talk)) {
        remove_child(talk.child);
        return failed("it still ran after 2 s");
    }
    const auto all_heard = [&] { return talk.child.output < 0 && talk.child.log < 0; };
    wait_for(talk, time_to_end, all_heard);
    note_cut_off_report(talk);
    if (!ended_well(talk.child))
        return failed("it ended with " + how_it_ended(talk.child) + ", not exit code 0");
    return passed();
}

// As when the driver has died.
check_outcome ends_with_the_driver(conversation& talk) {
    close_all_ends(talk);
    return has_to_end(talk);
}

check_outcome ends_when_stopped(conversation& talk) {
    close_all_ends(talk);
    signal_child(talk.child, SIGTERM);
    return has_to_end(talk);
}

} // namespace

void add_ending_checks(std::vector<check>& checks) {
    checks.push_back({"ends by itself when its input closes", ends_with_its_input});
    checks.push_back({"ends when all its pipes close", ends_with_the_driver});
    checks.push_back({"ends when the driver stops it", ends_when_stopped});
}
