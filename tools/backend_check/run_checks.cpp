#include "run_checks.h"

#include "router.h"
#include "taking.h"

namespace {

constexpr std::chrono::milliseconds silence_before_check{50};

// Starts the program anew if it has ended, as the driver does, and lets it introduce itself.
bool make_it_run(conversation& talk) {
    if (!child_has_ended(talk.child))
        return true;
    remove_child(talk.child);
    if (start_program(talk) != 0)
        return false;
    const unsigned before = talk.reports["info"];
    wait_for(talk, talk.patience,
             [&] { return talk.reports["info"] > before || child_has_ended(talk.child); });
    return true;
}

check_outcome run_check(const check& one, conversation& talk) {
    if (one.needs_program && !make_it_run(talk))
        return failed("it cannot be started again");
    if (one.needs_program)
        wait_for_silence(talk, silence_before_check);
    if (one.needs_size && (input_count < 1 || output_count < 1))
        return skipped("the router's size is not known");
    if (talk.obedient_output >= output_count)
        talk.obedient_output = 0; // the router has shrunk
    return one.run(talk);
}

// The checks switch crosspoints; whoever watches them wants the old ones back.
check putting_back(const std::vector<crosspoint>& before) {
    return {"takes its old routing back", [before](conversation& talk) {
                if (before.empty())
                    return skipped("the old routing is not known");
                const taken result = take_all(talk, before);
                if (result.followed.empty())
                    return skipped("no output confirms it");
                const auto missing = before.size() - result.followed.size();
                check_outcome answer = passed();
                if (missing > 0)
                    answer.notes.push_back("without a confirmation of " + std::to_string(missing) +
                                           " outputs");
                return answer;
            }};
}

} // namespace

check_outcome passed(const std::string& detail) {
    return {verdict::ok, detail};
}

check_outcome failed(const std::string& reason) {
    return {verdict::failed, reason};
}

check_outcome skipped(const std::string& reason) {
    return {verdict::skipped, reason};
}

int run_checks(conversation& talk, const std::function<void(const checked&)>& tell) {
    if (const int error = start_program(talk); error != 0)
        return error;
    std::vector<check> announcement;
    std::vector<check> rest;
    add_announcement_checks(announcement);
    const auto run_all = [&](const std::vector<check>& checks) {
        for (const check& one : checks)
            tell({one.name, run_check(one, talk)});
    };
    run_all(announcement);
    const std::vector<crosspoint> before = reported_routing();
    add_take_checks(rest);
    add_survival_checks(rest);
    rest.push_back(putting_back(before));
    add_ending_checks(rest);
    add_conduct_checks(rest);
    run_all(rest);
    remove_child(talk.child);
    return 0;
}
