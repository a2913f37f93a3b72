#include "answers.h"

#include "reports.h"
#include "takes.h"

namespace {

void hear_answer(videohub_conversation& conversation, bool acknowledged, std::uint64_t now) {
    if (conversation.unanswered.empty()) {
        return; // nobody asked
    }
    const sent_block block = std::move(conversation.unanswered.front());
    conversation.unanswered.pop_front();
    if (block.kind == sent_block::take && acknowledged) {
        take_acknowledged(conversation, block);
    } else if (block.kind == sent_block::take) {
        take_refused(conversation, block);
    } else if (block.kind == sent_block::labels && !acknowledged) {
        warn(conversation, "the router refused the names");
        report_inputs(conversation);
        report_outputs(conversation);
    }
    send_waiting_takes(conversation, now);
}

void greet(videohub_conversation& conversation) {
    if (!videohub_version_understood(conversation.model)) {
        conversation.failure =
            "it speaks version " + conversation.model.version + " of the protocol, not 2.x";
        return;
    }
    conversation.greeted = true;
    conversation.sound = true;
}

void hear_device(videohub_conversation& conversation, std::uint64_t now) {
    give_up_takes(conversation, "another device is attached to the router's address");
    const videohub_presence presence = conversation.model.presence;
    const bool waited = conversation.no_device;
    conversation.no_device =
        presence == videohub_presence::absent || presence == videohub_presence::needs_update;
    if (conversation.state == conversation_state::ready || (waited && !conversation.no_device)) {
        conversation.opened = now; // its time to tell its whole state begins
    }
    conversation.state = conversation_state::reading;
    conversation.asked = 0;
    if (presence == videohub_presence::absent) {
        warn(conversation, "the Videohub server answers, but no device is attached to it");
    } else if (presence == videohub_presence::needs_update) {
        warn(conversation, "the Videohub device needs an update of its firmware");
    }
}

} // namespace

void become_ready(videohub_conversation& conversation) {
    conversation.state = conversation_state::ready;
    const videohub_model& model = conversation.model;
    add_log_line(conversation.log, "INFO",
                 (model.model_name.empty() ? "Videohub" : model.model_name) + ", " +
                     std::to_string(model.inputs.size()) + " inputs, " +
                     std::to_string(model.outputs.size()) + " outputs, protocol " +
                     (model.version.empty() ? "unknown" : model.version));
    announce_router(conversation);
}

void become_ready_when_complete(videohub_conversation& conversation, bool quiet) {
    if (conversation.state == conversation_state::reading && conversation.greeted &&
        videohub_state_complete(conversation.model, quiet)) {
        become_ready(conversation);
    }
}

void hear_block(videohub_conversation& conversation, const videohub_block& block, std::uint64_t now) {
    if (block.header == "ACK" || block.header == "NAK") {
        hear_answer(conversation, block.header == "ACK", now);
        return;
    }
    const videohub_news news = apply_videohub_block(conversation.model, block);
    if (block.header == "PROTOCOL PREAMBLE") {
        greet(conversation);
    }
    if (news.device) {
        hear_device(conversation, now);
    }
    hear_routing(conversation, news.routed);
    if (conversation.state == conversation_state::ready) {
        report_input_names(conversation, news.labelled_inputs);
        report_output_names(conversation, news.labelled_outputs);
    }
    become_ready_when_complete(conversation, false);
}
