#include "history_notes.h"

#include "caller.h"
#include "gateway/audit/history_keeper.h"
#include "route_table.h"

namespace gateway {

namespace {

entry_kind kind_of(std::string_view operation) {
    if (operation == "take")
        return entry_kind::take;
    if (operation == "nameOutput" || operation == "nameInput")
        return entry_kind::name;
    if (operation == "lockOutput")
        return entry_kind::lock;
    if (operation == "makeToken")
        return entry_kind::token;
    if (operation.ends_with("Preset"))
        return entry_kind::preset;
    return operation.ends_with("Session") ? entry_kind::login : entry_kind::request;
}

} // namespace

history_entry entry_of_call(const api_world& world, const call& incoming) {
    history_entry entry;
    entry.kind = kind_of(incoming.row->operation);
    if (std::string_view(incoming.row->path).find("{router}") != std::string_view::npos)
        entry.router = incoming.parts[0];
    if (incoming.who)
        entry.by = incoming.who->name;
    entry.through = through_gateway;
    entry.address = caller_address(world.now, incoming.asked);
    return entry;
}

void note_refusal(api_world& world, const call& incoming, const std::string& reason) {
    history_entry entry = entry_of_call(world, incoming);
    entry.result = "refused";
    entry.reason = reason;
    if (entry.kind == entry_kind::preset && !incoming.parts.empty())
        entry.after = incoming.parts[0];
    if (entry.kind == entry_kind::request)
        entry.reason = std::string(incoming.row->method) + ' ' + incoming.row->path + ": " + reason;
    world.history.refused(std::move(entry));
}

void note_preset(api_world& world, const call& incoming, const std::set<std::string>& routers,
                 const std::string& done, const std::string& reason) {
    for (const std::string& router : routers) {
        history_entry entry = entry_of_call(world, incoming);
        entry.router = router;
        entry.after = incoming.parts.at(0);
        entry.result = done;
        entry.reason = reason;
        world.history.note(std::move(entry));
    }
}

void note_wrong_login(api_world& world, const std::string& address) {
    history_entry entry;
    entry.kind = entry_kind::login;
    entry.through = through_gateway;
    entry.address = address;
    entry.result = "refused";
    entry.reason = "no token of this gateway";
    world.history.refused(std::move(entry));
}

} // namespace gateway
