#include "gateway/routers/router_state.h"

#include "gateway/routers/board_limits.h"
#include "text.h"

namespace gateway {

const char* router_state_word(router_state state) {
    switch (state) {
    case router_state::up:
        return "up";
    case router_state::reading:
        return "reading";
    case router_state::link_down:
        return "link down";
    case router_state::no_backend:
        return "no backend";
    case router_state::no_driver:
        return "no driver";
    case router_state::stale:
        break;
    }
    return "stale";
}

bool is_picture_true(router_state state) {
    return state == router_state::up || state == router_state::link_down || state == router_state::no_backend;
}

std::string sentence_with(std::string_view sentence, std::string_view text) {
    while (!text.empty() && (text.back() == '.' || text.back() == ' '))
        text.remove_suffix(1);
    std::string all(sentence);
    if (!text.empty())
        all.append(": ").append(text_head(text, reason_text_limit));
    return all + '.';
}

state_and_reason state_of(const vrdx::router_picture& picture) {
    if (picture.backend == vrdx::backend_state::none)
        return {router_state::no_backend, sentence_with("The item names no backend", picture.backend_text)};
    if (picture.backend == vrdx::backend_state::starting)
        return {
            router_state::no_backend,
            sentence_with("The backend does not run and is started again and again", picture.backend_text)};
    if (picture.link == vrdx::link_state::down)
        return {router_state::link_down,
                sentence_with("The backend does not reach its router", picture.link_text)};
    if (picture.inputs.empty() && picture.outputs.empty())
        return {router_state::link_down, "The backend has not reported a router yet."};
    return {router_state::up, {}};
}

} // namespace gateway
