// Changes at a steady rate, and the readers who hear of them.
#pragma once

#include "event_crowd.h"
#include "fleet.h"

// Per change, of all readers.
struct fan_figures {
    std::vector<double> milliseconds; // from the change to each reader
    double cpu_us;                    // of the server
    std::size_t bytes;                // of the message, as it was heard last
};

// Readers of all that the gateway tells, once they know all pictures.
class gateway_readers {
public:
    gateway_readers(const driver_fleet& fleet, const running_gateway& gateway, std::size_t count);
    // Throws when a reader misses a change.
    fan_figures changes(std::size_t count);

private:
    const driver_fleet& fleet_;
    const running_gateway& gateway_;
    std::size_t readers_;
    event_crowd crowd_;
};

// mosquitto, and as many readers of one topic of it.
class broker_readers {
public:
    broker_readers(const work_directory& directory, std::size_t count);
    ~broker_readers();
    broker_readers(const broker_readers&) = delete;
    broker_readers& operator=(const broker_readers&) = delete;

    // Messages of so many bytes at the same rate.
    fan_figures messages(std::size_t count, std::size_t bytes);
    [[nodiscard]] pid_t pid() const {
        return broker_->pid();
    }

private:
    std::unique_ptr<running_program> broker_;
    std::size_t readers_;
    event_crowd crowd_;
    int publisher_ = -1;
};
