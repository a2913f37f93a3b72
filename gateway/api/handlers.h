// What the rows of the route table do. Each answers once.
#pragma once

#include "call.h"

namespace gateway {

using incoming_call = std::shared_ptr<call>;

// Pages and the gateway's own state
void answer_panel_page(api_world&, const incoming_call&, const answer_function&);
void answer_panel_asset(api_world&, const incoming_call&, const answer_function&);
void answer_panel_build(api_world&, const incoming_call&, const answer_function&);
void answer_alive(api_world&, const incoming_call&, const answer_function&);
void answer_ready(api_world&, const incoming_call&, const answer_function&);
void answer_metrics(api_world&, const incoming_call&, const answer_function&);
void answer_document(api_world&, const incoming_call&, const answer_function&);
void answer_events_without_websocket(api_world&, const incoming_call&, const answer_function&);

// Routers
void answer_routers(api_world&, const incoming_call&, const answer_function&);
void answer_picture(api_world&, const incoming_call&, const answer_function&);
void rename_output(api_world&, const incoming_call&, const answer_function&);
void rename_input(api_world&, const incoming_call&, const answer_function&);
void take_outputs(api_world&, const incoming_call&, const answer_function&);
void lock_output(api_world&, const incoming_call&, const answer_function&);

// Presets
void answer_presets(api_world&, const incoming_call&, const answer_function&);
void answer_preset(api_world&, const incoming_call&, const answer_function&);
void write_preset(api_world&, const incoming_call&, const answer_function&);
void remove_preset(api_world&, const incoming_call&, const answer_function&);
void recall_preset(api_world&, const incoming_call&, const answer_function&);
void undo_preset(api_world&, const incoming_call&, const answer_function&);

// What a router looks like on the panels of a token
void answer_layout(api_world&, const incoming_call&, const answer_function&);
void write_layout(api_world&, const incoming_call&, const answer_function&);
void remove_layout(api_world&, const incoming_call&, const answer_function&);

// The history
void answer_history(api_world&, const incoming_call&, const answer_function&);

// Sessions and tokens
void begin_session(api_world&, const incoming_call&, const answer_function&);
void answer_session(api_world&, const incoming_call&, const answer_function&);
void end_session(api_world&, const incoming_call&, const answer_function&);
void make_token(api_world&, const incoming_call&, const answer_function&);

// For several of them

// The number in the path, from 1 to `last`; 0 when it is none.
int number_in_path(const call& incoming, std::size_t last);

// The lane of the board that takes and names of this token go by.
std::string lane_of(const token& who);

// Who asks, for takes. Valid as long as the call.
take_asker asker_of(const api_world& world, const call& incoming);

// What a token may, as sessions and new tokens are told of it.
json token_json(const token& who);
// Does what `act` does, and answers it; with an Idempotency-Key once for each key.
void answer_once(api_world& world, const incoming_call& incoming, const answer_function& answer, handler act);

// Something that has to be written to the disk, for the one who asks: an answer that refuses it when he has
// had too much of that, else nothing.
std::optional<reply> too_many_writes(api_world& world, const token& who);

// `attempt` is made at once, and again while it says that another program writes: false. With `last` it has
// to say true, and answer. Whether the request is still allowed is looked at before each further one.
void write_patiently(api_world& world, const incoming_call& incoming, const answer_function& answer,
                     const std::function<bool(bool last)>& attempt);

// The answer to a wrong token from this address: 401, late or 429 when there were many.
reply wrong_token_reply(api_world& world, const std::string& address);

} // namespace gateway
