// How the gateway connects to its broker.
#pragma once

#include "gateway/settings/site_settings.h"

#include <memory>
#include <nats/nats.h>
#include <string>

namespace gateway {

struct free_options {
    void operator()(natsOptions* options) const {
        natsOptions_Destroy(options);
    }
};
using broker_options = std::unique_ptr<natsOptions, free_options>;

// Null and a sentence in *problem when the settings do not go: a file that cannot be read, an unfit
// certificate.
broker_options options_for(const site_settings& settings, std::string* problem);

} // namespace gateway
