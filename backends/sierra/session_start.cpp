#include "session_start.h"

#include "commands.h"
#include "shown.h"
#include "take_commands.h"

void begin_reading(session& session) {
    forget_router(session.driver, router_state::reading);
    session.tells_changes = true;
    session.picture = {};
    session.groups = {};
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

void begin_anew(session& session, const std::string& reason, std::uint64_t now) {
    drop_all_takes(session, reason);
    begin_reading(session);
    session.read_again_soon = !add_rare_line(session.driver.log, session.driver.rare, "begun anew", "NOTE",
                                             reason + ", everything is read again", now);
}

void become_ready(session& session, std::uint64_t now) {
    session.driver.state = router_state::ready;
    session.link_test_due = now + link_test_period_us;
    const sierra_picture& picture = session.picture;
    for (int output = 1; output <= picture.outputs; ++output) {
        show_routing(session, output);
    }
    std::string text = "router " + session.model + ": " + std::to_string(picture.outputs) + " outputs, " +
                       std::to_string(picture.inputs) + " inputs, " + level_text(picture, session.groups);
    add_rare_line(session.driver.log, session.driver.rare, "ready", "NOTE", text, now);
    session.read_again_soon = false;
}

void accept_size(session& session, const reply& size) {
    set_size(session.picture, size);
    enqueue(session.queue, status_command(session));
    const std::size_t logged = session.driver.log.size();
    regroup_levels(session);
    if (session.read_again_soon) {
        session.driver.log.resize(logged);
    }
}
