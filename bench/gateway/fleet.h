// Drivers with simulated routers, and a gateway above them.
#pragma once

#include "../programs.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

// So many drivers, "r1" and so on; ready, and their routers known, once constructed.
class driver_fleet {
public:
    // `further`: lines of their items.
    driver_fleet(const work_directory& directory, std::size_t count, router_size size,
                 const std::string& further = "");

    [[nodiscard]] std::size_t size() const {
        return drivers_.size();
    }
    [[nodiscard]] const std::string& items() const {
        return items_;
    }
    [[nodiscard]] const std::string& run() const {
        return run_;
    }
    // `at` from 0.
    [[nodiscard]] std::string socket(std::size_t at) const;
    [[nodiscard]] bench_board& board(std::size_t at) const {
        return *boards_.at(at);
    }
    // Its router reports one change.
    void change(std::size_t at) const;

private:
    std::string items_, run_;
    std::vector<bench_board*> boards_;
    std::vector<std::unique_ptr<running_program>> drivers_;
};

// A gateway for them, ready once constructed.
class running_gateway {
public:
    // `configuration`: lines of its file. `prepare` gets its state directory before it starts.
    running_gateway(const work_directory& directory, const driver_fleet& fleet,
                    const std::string& configuration = "",
                    const std::function<void(const std::string& state)>& prepare = nullptr);

    [[nodiscard]] pid_t pid() const {
        return program_->pid();
    }
    [[nodiscard]] unsigned short port() const {
        return port_;
    }
    [[nodiscard]] const std::string& token() const {
        return token_;
    }
    // From its start to its word that it is ready.
    [[nodiscard]] double ready_ms() const {
        return ready_ms_;
    }

private:
    std::string token_;
    unsigned short port_ = 0;
    double ready_ms_ = 0;
    std::unique_ptr<running_program> program_;
};
