#include "client.h"

#include "backend.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

std::map<std::string, std::string> pending_settings;

void my_vrdx_on_set(void*, const char* name, const std::string& value) {
    if (std::strcmp(name, "enable debug messages") == 0)
        debug_messages = static_cast<std::int32_t>(std::strtol(value.c_str(), nullptr, 10)) > 0;
    pending_settings[name] = value;
}

void notify_backend_settings() {
    if (backend_stdout_fd < 0 || backend_stdin_fd < 0 || backend_stderr_fd < 0)
        return;
    while (!pending_settings.empty()) {
        const auto& [name, value] = *pending_settings.begin();
        std::fprintf(stderr, "Notify server '%s' = '%s'\n", name.c_str(), value.c_str());
        TavrixAPIRouterMessage message;
        message.command = "set";
        message.type = "message";
        message.fields["name"] = name;
        message.fields["value"] = value;
        router_send_client_message(message);
        pending_settings.erase(pending_settings.begin());
    }
}
