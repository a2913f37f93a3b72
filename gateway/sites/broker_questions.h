// A connection to the broker for questions that wait for their answers, of one thread. Apart from that for
// takes: what is asked here never stands before them.
#pragma once

#include "gateway/settings/site_settings.h"

#include <memory>
#include <string>
#include <vector>

namespace gateway {

struct broker_question {
    std::string subject, data;
    std::string message_id; // the broker's stream leaves out what comes with the same soon again; "": without
};

struct broker_answer {
    bool came = false;   // else nobody has said anything in time
    bool nobody = false; // it did not, because nobody listens to that subject
    std::string data;
};

class broker_questions {
public:
    // Null and a sentence in *problem when there is no connection. `run` as new_run() makes it.
    static std::unique_ptr<broker_questions> connect(const site_settings& settings, const std::string& run,
                                                     std::string* problem);
    ~broker_questions();
    broker_questions(const broker_questions&) = delete;
    broker_questions& operator=(const broker_questions&) = delete;

    // Asks all of them at once, which have one subject, and waits at most `ms` for all. Answers stand in the
    // same order.
    std::vector<broker_answer> ask(const std::vector<broker_question>& questions, std::uint64_t ms);

    // Not any more when the last questions had no answer at all.
    [[nodiscard]] bool is_open() const;
    // The broker's last error, "" when there is none.
    [[nodiscard]] std::string complaint() const;

private:
    struct connection;
    explicit broker_questions(std::unique_ptr<connection> made);
    bool say(const broker_question& question);

    std::unique_ptr<connection> to_;
    std::uint64_t newest_ = 0; // number of a question; answers to those before a batch count for nothing
};

} // namespace gateway
