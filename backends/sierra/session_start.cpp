#include "session_start.h"

#include "commands.h"
#include "reports.h"
#include "take_commands.h"

void begin_reading(session& session) {
    session.phase = session_phase::reading;
    session.picture = {};
    session.groups = {};
    session.changed.clear();
    session.letters.clear();
    session.model.clear();
    session.queue.waiting.clear();
    session.queue.outstanding.reset();
    for (const command_kind kind : {command_kind::link_test, command_kind::letters, command_kind::model,
                                    command_kind::size, command_kind::reports}) {
        enqueue(session.queue, plain_command(kind));
    }
    // The status follows once the size is known.
}

void begin_anew(session& session, const std::string& reason, reaction& reaction) {
    drop_all_takes(session, reason, reaction);
    add_log_line(reaction.log, "NOTE", reason + ", everything is read again");
    begin_reading(session);
}

void become_ready(session& session, std::uint64_t now, reaction& reaction) {
    session.phase = session_phase::ready;
    session.link_test_due = now + link_test_period_us;
    const router_picture& picture = session.picture;
    for (int output = 1; output <= picture.outputs; ++output) {
        session.changed.insert(output);
    }
    std::string text = "router " + session.model + ": " + std::to_string(picture.outputs) + " outputs, " +
                       std::to_string(picture.inputs) + " inputs, " + level_text(picture, session.groups);
    add_log_line(reaction.log, "NOTE", text);
}

void take_over_size(session& session, const reply& size, reaction& reaction) {
    set_size(session.picture, size);
    enqueue(session.queue, status_command(session));
    regroup_levels(session, reaction);
}
