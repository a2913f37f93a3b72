// A message broker for gateways of several sites, and sites that are played in this process.
#pragma once

#include "../programs.h"

#include <memory>
#include <string>
#include <vector>

// nats-server, ready once constructed; throws where it is not installed.
class site_broker {
public:
    explicit site_broker(const work_directory& directory);

    [[nodiscard]] pid_t pid() const {
        return program_->pid();
    }
    // Lines of the configuration of a gateway that is `site` there.
    [[nodiscard]] std::string settings(const std::string& site, const std::vector<std::string>& peers) const;
    [[nodiscard]] const std::string& address() const {
        return address_;
    }

private:
    std::unique_ptr<running_program> program_;
    std::string address_;
};

// Sites "s1" and so on with so many routers of 16 x 16 each. Each says twice a second that it is there,
// answers who reads its pictures, and changes one output of one of its routers twenty times a second.
class played_sites {
public:
    played_sites(const site_broker& broker, std::size_t sites, std::size_t routers);
    ~played_sites();
    played_sites(const played_sites&) = delete;
    played_sites& operator=(const played_sites&) = delete;

    [[nodiscard]] const std::vector<std::string>& names() const {
        return names_;
    }

private:
    struct playing;
    std::vector<std::string> names_;
    std::unique_ptr<playing> playing_;
};
