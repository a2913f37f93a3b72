// The history of who did what: one place to note things, one to ask about them.
//
// Others hand in what happened by note(), and what they refused by refused(). Both return at once. Takes need
// neither: the drivers tell of each. Who sends takes says by take_callers from which address they came.
#pragma once

#include "driver_records.h"
#include "history_reader.h"
#include "refusal_counter.h"

namespace gateway {

class history_keeper {
public:
    struct place {
        std::string state_directory; // history.db is there
        std::string run_directory;   // the drivers' sockets are there
        std::string journal_socket;  // empty: the journal is not told
    };
    using answer_function = std::function<void(history_reader::answer)>;

    // `tell` gets a line when the history can no longer be written, and when it can again. `loop` outlives
    // it.
    history_keeper(boost::asio::io_context& loop, const place& where, const history_share& share,
                   std::function<void(const std::string&)> tell);
    // Writes what waits.
    ~history_keeper();
    history_keeper(const history_keeper&) = delete;
    history_keeper& operator=(const history_keeper&) = delete;

    // time_us 0: now. `kind` is set; what does not apply is left as it is.
    void note(history_entry entry);
    // The same of what was refused: alike ones of a minute become one entry, in a share of their own.
    void refused(history_entry entry);

    // From the board.
    void hear(const router_news& news);
    take_callers& callers() {
        return callers_;
    }

    void keep(const history_share& share);

    // `format` runs in another thread; `done` is called from the loop, never before this returns. False when
    // too much is asked already, of this asker or of all; `done` is not called then.
    bool ask(std::int64_t asker, const history_query& query, history_reader::format_function format,
             answer_function done);

    // Why it cannot be written now, in one sentence; empty when it can.
    std::string problem() const;
    // The same of what goes to other sites and comes from there.
    const std::string& exchange_problem() const {
        return exchange_problem_;
    }

    // For threads that read and write entries of other sites. Ends with this.
    history_writer& writer() {
        return writer_;
    }
    // Told by who exchanges entries with other sites; "" when it goes well.
    void note_exchange_problem(const std::string& text) {
        exchange_problem_ = text;
    }

    std::optional<history_writer::figures> figures() const {
        return writer_.told_figures();
    }

private:
    struct from_threads; // what threads say to the loop; outlives this as long as a handler is posted
    void hear_writer();
    void hear_answer(std::uint64_t number, history_reader::answer said);
    void hand_on_counts();

    boost::asio::io_context& loop_;
    std::function<void(const std::string&)> tell_;
    std::shared_ptr<from_threads> threads_;
    std::string told_problem_, exchange_problem_;
    refusal_counter refusals_;
    take_callers callers_;
    struct question {
        std::int64_t asker;
        answer_function done;
    };
    std::map<std::uint64_t, question> questions_;
    std::uint64_t newest_question_ = 0;
    loop_timer counts_due_;
    history_writer writer_;
    history_reader reader_;
    driver_records records_;
};

} // namespace gateway
