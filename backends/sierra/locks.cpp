#include "locks.h"

#include "commands.h"

namespace {

void show_lock(session& session, int output, const std::string& state) {
    show_output(session.driver, output - 1, "lock", state);
}

void set_lock(session& session, int output, bool locks) {
    if (session.settings.lock_password.empty()) {
        warn(session.driver, "lock not set: the item has no setting \"lock password\"");
        return;
    }
    router_command lock = plain_command(command_kind::lock);
    lock.lock_output = output;
    lock.locks = locks;
    lock.text = lock_request(output, session.settings.lock_password, locks);
    enqueue(session.queue, std::move(lock));
}

} // namespace

void set_properties(session& session, const std::vector<endpoint_property>& properties) {
    for (const endpoint_property& property : properties) {
        const bool is_lock = property.of_output && property.name == "lock";
        if (is_lock && (property.value == "own" || property.value == "free")) {
            set_lock(session, property.number + 1, property.value == "own");
        } else if (property.name == "name") {
            add_log_line(session.driver.log, "NOTE",
                         "router set skipped: names are settings here, \"output name 1\" and so on");
        } else {
            warn(session.driver, "router set skipped: this router has no " + endpoint_quoted(property.name) +
                                     " of " + endpoint_quoted(property.value));
        }
    }
}

void hear_lock(session& session, const reply& lock) {
    const bool is_ours = session.own_locks.contains(lock.output);
    if (!lock.is_locked) {
        session.own_locks.erase(lock.output);
    }
    if (lock.output <= session.picture.outputs) {
        show_lock(session, lock.output, !lock.is_locked ? "free" : is_ours ? "own" : "other");
    }
}

void finish_lock(session& session, const router_command& lock, const std::string& refusal) {
    if (!refusal.empty()) {
        const auto& properties =
            session.driver.outputs.at(static_cast<std::size_t>(lock.lock_output - 1)).properties;
        const auto before = properties.find("lock");
        warn(session.driver,
             "output " + std::to_string(lock.lock_output) + ": the router refuses the lock: " + refusal);
        if (before != properties.end()) {
            show_lock(session, lock.lock_output, std::string(before->second));
        }
        return;
    }
    if (lock.locks) {
        session.own_locks.insert(lock.lock_output);
    } else {
        session.own_locks.erase(lock.lock_output);
    }
    show_lock(session, lock.lock_output, lock.locks ? "own" : "free");
}
