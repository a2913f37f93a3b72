// The thread that answers questions about the history, so that none of them holds the loop up.
#pragma once

#include "history_query.h"
#include "history_writer.h"

namespace gateway {

class history_reader {
public:
    // What becomes of the entries: an answer's text. Called from the thread.
    using format_function = std::function<std::string(const std::vector<history_entry>&)>;

    struct answer {
        std::string text;    // what `format` made
        std::string problem; // not empty: why there is none, in one sentence
    };

    // `answered` is called from the thread with the number of the question. It lives until this is destroyed.
    history_reader(std::string state_directory, history_writer& writer,
                   std::function<void(std::uint64_t number, answer said)> answered);
    // Questions that wait get no answer.
    ~history_reader();
    history_reader(const history_reader&) = delete;
    history_reader& operator=(const history_reader&) = delete;

    // What was noted before this is called is in the answer.
    void ask(std::uint64_t number, history_query query, format_function format);

private:
    struct question {
        std::uint64_t number;
        history_query query;
        format_function format;
    };
    void work();
    answer answer_to(const question& asked);

    const std::string state_directory_;
    history_writer& writer_;
    const std::function<void(std::uint64_t, answer)> answered_;
    std::mutex lock_;
    std::condition_variable wake_;
    std::deque<question> waiting_;
    bool ending_ = false;
    std::unique_ptr<history_reading> reading_; // of the thread alone
    std::thread thread_;                       // the last: it begins when all else is there
};

} // namespace gateway
