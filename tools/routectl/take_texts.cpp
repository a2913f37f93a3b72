#include "take_texts.h"

#include "port_names.h"
#include "user_name.h"

std::string result_text(const vrdx::take_result& result, const router_picture& picture) {
    const std::string& text = result.text;
    switch (result.word) {
    case vrdx::take_word::confirmed:
        return "confirmed";
    case vrdx::take_word::shows:
        return "the router shows " + sources_text(picture, result.sources) + " instead";
    case vrdx::take_word::refused:
        return text.starts_with("by the router") ? "refused " + text : "refused: " + text;
    case vrdx::take_word::replaced_sent:
        return "replaced by a later take of " + person_in(text);
    case vrdx::take_word::replaced_unsent:
        return "never sent, replaced by a later take of " + person_in(text);
    case vrdx::take_word::withdrawn:
        return "never sent: " + text;
    case vrdx::take_word::unknown:
        return text + ", nobody knows whether it switched";
    case vrdx::take_word::other:
        break;
    }
    return "the driver says: " + text;
}
