// The checks, in the order in which they are made.
#pragma once

#include "conversation.h"

#include <functional>
#include <string>
#include <vector>

enum class verdict { ok, failed, skipped };

struct check_outcome {
    verdict result = verdict::ok;
    std::string text{};               // the reason when it failed or was skipped, else a detail or nothing
    std::vector<std::string> notes{}; // worth knowing, but no fault
};

struct check {
    std::string name; // completes the sentence "the program ..."
    std::function<check_outcome(conversation&)> run;
    bool needs_size = false;   // makes no sense before the router's size is known
    bool needs_program = true; // talks to the program, which is started anew if it has ended
};

// The program introduces itself and answers questions.
void add_announcement_checks(std::vector<check>& checks);
// It confirms takes.
void add_take_checks(std::vector<check>& checks);
// Names, settings and nonsense leave it running and answering.
void add_survival_checks(std::vector<check>& checks);
// It ends when it should; each of these starts it anew when it does not run.
void add_ending_checks(std::vector<check>& checks);
// How it has behaved during all checks: to be added last.
void add_conduct_checks(std::vector<check>& checks);

check_outcome passed(const std::string& detail = "");
check_outcome failed(const std::string& reason);
check_outcome skipped(const std::string& reason);

// Asks the program to report `what`, "outputs" or "inputs". True when it does in time.
bool answers_report(conversation& talk, const std::string& what);
