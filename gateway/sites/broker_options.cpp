#include "broker_options.h"

#include "site_limits.h"

#include <algorithm>
#include <fstream>
#include <vector>

namespace gateway {
namespace {

constexpr const char* credentials_begin = "-----BEGIN NATS USER JWT-----";

// Two lines, user and password; else what `nsc` writes, which the library reads itself.
natsStatus set_credentials(natsOptions* options, const std::string& path) {
    std::ifstream file(path);
    std::string user, password;
    std::getline(file, user);
    std::getline(file, password);
    if (!file && password.empty())
        return NATS_ERR;
    if (user.starts_with(credentials_begin))
        return natsOptions_SetUserCredentialsFromFiles(options, path.c_str(), nullptr);
    return natsOptions_SetUserInfo(options, user.c_str(), password.c_str());
}

natsStatus set_tls(natsOptions* options, const site_settings& settings) {
    const bool by_address = std::any_of(settings.servers.begin(), settings.servers.end(),
                                        [](const std::string& each) { return each.starts_with("tls://"); });
    if (!settings.tls && !by_address)
        return NATS_OK;
    const natsStatus status = natsOptions_SetSecure(options, true);
    if (status != NATS_OK || settings.tls_authority.empty())
        return status;
    return natsOptions_LoadCATrustedCertificates(options, settings.tls_authority.c_str());
}

} // namespace

// The library never connects again by itself: so it has no buffer for such a time, and what was to be sent on
// a connection ends with it.
broker_options options_for(const site_settings& settings, std::string* problem) {
    natsOptions* made = nullptr;
    if (natsOptions_Create(&made) != NATS_OK) {
        *problem = "there is no memory for a connection to the broker";
        return nullptr;
    }
    broker_options options(made);
    std::vector<const char*> servers;
    for (const std::string& server : settings.servers)
        servers.push_back(server.c_str());
    const std::string name = "vrdx_gateway " + settings.site;
    const auto milliseconds = [](std::uint64_t time) { return static_cast<std::int64_t>(time); };
    const auto step = [&](natsStatus status, const char* what) {
        if (status != NATS_OK && problem->empty())
            *problem = std::string(what) + ": " + natsStatus_GetText(status);
    };
    problem->clear();
    step(natsOptions_SetServers(made, servers.data(), static_cast<int>(servers.size())), "nats.servers");
    step(natsOptions_SetNoRandomize(made, true), "nats.servers");
    step(natsOptions_SetName(made, name.c_str()), "site");
    if (!settings.credentials.empty())
        step(set_credentials(made, settings.credentials), "nats.credentials");
    step(set_tls(made, settings), "nats.tls");
    step(natsOptions_SetAllowReconnect(made, false), "broker");
    step(natsOptions_SetSendAsap(made, true), "broker"); // nothing waits in a buffer of the library
    step(natsOptions_SetTimeout(made, milliseconds(connect_time_limit_ms)), "broker");
    step(natsOptions_SetPingInterval(made, milliseconds(broker_ping_period_ms)), "broker");
    step(natsOptions_SetMaxPingsOut(made, broker_pings_limit), "broker");
    step(natsOptions_SetWriteDeadline(made, milliseconds(broker_write_limit_ms)), "broker");
    step(natsOptions_UseGlobalMessageDelivery(made, true), "broker"); // one thread for all subscriptions
    // Else the library writes to standard error by itself; broker_link asks for the last error.
    step(natsOptions_SetErrorHandler(
             made, [](natsConnection*, natsSubscription*, natsStatus, void*) {}, nullptr),
         "broker");
    return problem->empty() ? std::move(options) : nullptr;
}

} // namespace gateway
