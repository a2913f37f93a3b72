// Takes for whomever the gateway knows: within the rights of a token, beside the locks, answered output by
// output. Every way into the gateway goes through here.
#pragma once

#include "gateway/access/lock_table.h"
#include "gateway/audit/history_entry.h"
#include "gateway/routers/router_board.h"
#include "gateway/takes/take_wish.h"

#include <span>

namespace gateway {

class history_keeper;

// In whose name takes are asked for.
struct take_asker {
    const token& who;
    std::string lane;    // as router_board has it
    std::string address; // numeric, for the history
    const char* through = through_gateway;
};

// What became of one output.
struct output_answer {
    int output = 0; // from 1
    // One of the driver's words for a take, or "locked", or "unavailable".
    std::string result;
    std::string reason;                         // "" when there is none
    std::optional<output_lock> lock;            // of "locked"
    std::optional<vrdx::level_sources> sources; // of "shows": what the router shows instead
};

// The answer for an output, made from the driver's.
output_answer answer_of(int output, const vrdx::take_result& said);

struct takes_answer {
    enum class kind {
        answered,    // `outputs` has one answer for each take, in the order of the wish
        no_router,   // there is none of this name
        not_known,   // names or levels have to be looked up, and the picture is not known now
        wrong,       // a name is no input's, or that of several
        not_allowed, // beyond the rights of the token
        too_many,    // the lane has too much open already
        failed,      // the driver did nothing of it
    } ended = kind::failed;
    std::string
        problem; // of all but `answered`, where nothing was done: a sentence that says what is possible
    std::vector<output_answer> outputs;
    bool split_levels = false; // of the router, for whoever shows `sources`
};

using takes_done = std::function<void(const takes_answer&)>;

// What a take would find.
struct take_look {
    takes_answer answer; // an output without a result would be sent
    std::vector<planned_take> plan;
};

struct take_work;

class take_desk {
public:
    // Called with takes that go to a router now.
    using takes_begin = std::function<void(const std::string& router, const std::vector<vrdx::output_take>&)>;

    // All of them outlive the desk.
    take_desk(router_board& routers, const lock_table& locks, history_keeper& history, takes_begin begin)
        : routers_(routers), locks_(locks), history_(history), begin_(std::move(begin)) {}

    // Locks are looked at twice: here, and once more when the takes have waited for the driver's connection
    // and are about to be sent. What is locked by then is answered as locked.
    //
    // Whether the asker sees the router is looked at before. The driver's record names `who.name`; what it
    // does not record goes to the history from here. `done` is called once: before this returns when nothing
    // is sent, else from the loop.
    void take(const std::string& router, const take_asker& asker, const takes_wish& wish,
              const takes_done& done);

    // Into the history as take() does it: takes that nobody sends, each with its answer.
    void note_unsent(const std::string& router, const take_asker& asker,
                     std::span<const vrdx::output_take> takes, std::span<const output_answer> answers);

    // What take() would do now, without doing it.
    take_look look(const std::string& router, const token& who, const takes_wish& wish) const;

private:
    take_work prepare(const std::string& router, const token& who, const takes_wish& wish) const;

    router_board& routers_;
    const lock_table& locks_;
    history_keeper& history_;
    takes_begin begin_;
};

} // namespace gateway
