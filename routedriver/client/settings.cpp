#include "commands.h"

#include "backend.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>

std::map<std::string, pending_setting> pending_settings;

namespace {

std::ptrdiff_t weight(const std::string& name, const pending_setting& setting) {
    return static_cast<std::ptrdiff_t>(name.size() + setting.value.size() + sizeof(setting));
}

// Changes of one setting reach the backend in the order in which they were made.
std::int32_t place_of_setting(const std::string& name) {
    return first_setting_place + static_cast<std::int32_t>(std::hash<std::string>{}(name) %
                                                           static_cast<std::size_t>(setting_places));
}

} // namespace

void my_vrdx_on_set(void* context, const char* name, const std::string& value) {
    if (std::strcmp(name, "enable debug messages") == 0)
        debug_messages = static_cast<std::int32_t>(std::strtol(value.c_str(), nullptr, 10)) > 0;
    const requester client = requester_of(static_cast<const comm_socket_v4_client*>(context));
    requester_asks(client);
    const auto [entry, is_new] = pending_settings.try_emplace(name);
    if (!is_new)
        count_waiting_settings(entry->second.whose, -weight(name, entry->second));
    entry->second = {value, client};
    count_waiting_settings(client, weight(name, entry->second));
    if (context != nullptr)
        hurry_lone_message(); // takes that the client sends next are not to overtake it
}

void notify_backend_settings() {
    if (backend_stdout_fd < 0 || backend_stdin_fd < 0 || backend_stderr_fd < 0)
        return;
    while (!pending_settings.empty()) {
        const auto& [name, setting] = *pending_settings.begin();
        std::fprintf(stderr, "Notify server '%s' = '%s'\n", name.c_str(), setting.value.c_str());
        TavrixAPIRouterMessage message;
        message.command = "set";
        message.type = "message";
        message.fields["name"] = name;
        message.fields["value"] = setting.value;
        count_waiting_settings(setting.whose, -weight(name, setting));
        router_send_client_message(message, setting.whose, place_of_setting(name));
        pending_settings.erase(pending_settings.begin());
    }
}
