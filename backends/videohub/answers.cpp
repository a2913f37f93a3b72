#include "answers.h"

#include "reports.h"
#include "takes.h"

namespace {

void hear_answer(videohub_session& session, bool acknowledged, std::uint64_t now) {
    if (session.unanswered.empty()) {
        return; // nobody asked
    }
    const sent_block block = std::move(session.unanswered.front());
    session.unanswered.pop_front();
    if (block.kind == sent_block::take && acknowledged) {
        take_acknowledged(session, block);
    } else if (block.kind == sent_block::take) {
        take_refused(session, block);
    } else if (block.kind == sent_block::labels && !acknowledged) {
        warn(session, "the router refused the names");
        report_inputs(session);
        report_outputs(session);
    }
    send_waiting_takes(session, now);
}

void greet(videohub_session& session) {
    if (!videohub_version_understood(session.model)) {
        session.failure = "it speaks version " + session.model.version + " of the protocol, not 2.x";
        return;
    }
    session.greeted = true;
    session.sound = true;
}

void hear_device(videohub_session& session, std::uint64_t now) {
    give_up_takes(session, "another device is attached to the router's address");
    if (session.state == session_state::ready) {
        session.opened = now;
    }
    session.state = session_state::reading;
    session.asked = 0;
    if (session.model.presence == videohub_presence::absent) {
        warn(session, "the Videohub server answers, but no device is attached to it");
    } else if (session.model.presence == videohub_presence::needs_update) {
        warn(session, "the Videohub device needs an update of its firmware");
    }
}

} // namespace

void become_ready(videohub_session& session) {
    session.state = session_state::ready;
    const videohub_model& model = session.model;
    add_log_line(session.log, "INFO",
                 (model.model_name.empty() ? "Videohub" : model.model_name) + ", " +
                     std::to_string(model.inputs.size()) + " inputs, " +
                     std::to_string(model.outputs.size()) + " outputs, protocol " +
                     (model.version.empty() ? "unknown" : model.version));
    announce_router(session);
}

void become_ready_when_complete(videohub_session& session, bool quiet) {
    if (session.state == session_state::reading && session.greeted &&
        videohub_state_complete(session.model, quiet)) {
        become_ready(session);
    }
}

void hear_block(videohub_session& session, const videohub_block& block, std::uint64_t now) {
    if (block.header == "ACK" || block.header == "NAK") {
        hear_answer(session, block.header == "ACK", now);
        return;
    }
    const videohub_news news = apply_videohub_block(session.model, block);
    if (block.header == "PROTOCOL PREAMBLE") {
        greet(session);
    }
    if (news.device) {
        hear_device(session, now);
    }
    hear_routing(session, news.routed);
    if (session.state == session_state::ready) {
        report_input_names(session, news.labelled_inputs);
        report_output_names(session, news.labelled_outputs);
    }
    become_ready_when_complete(session, false);
}
