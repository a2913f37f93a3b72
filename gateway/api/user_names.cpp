#include "user_names.h"

#include "gateway/settings/limits.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <utility>

namespace gateway {

// The thread may outlive all else: what it touches is kept by both.
struct user_names::shared_with_thread {
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::uint64_t> wanted;
    std::unordered_map<std::uint64_t, std::string> found; // since the last look
    bool over = false;

    std::unordered_map<std::uint64_t, std::string> known; // of the loop's thread alone
};

user_names::user_names(looking_up look_up) : shared_(std::make_shared<shared_with_thread>()) {
    const auto ask = [shared = shared_, look_up] {
        std::unique_lock lock(shared->mutex);
        for (;;) {
            shared->changed.wait(lock, [&] { return shared->over || !shared->wanted.empty(); });
            if (shared->over)
                return;
            const std::uint64_t user = shared->wanted.front();
            shared->wanted.pop_front();
            lock.unlock();
            std::string name = look_up(user);
            lock.lock();
            shared->found[user] = std::move(name);
        }
    };
    try {
        std::thread(ask).detach();
    } catch (const std::system_error&) {
        // No thread may be had: numbers stand without names.
    }
}

user_names::~user_names() {
    const std::lock_guard lock(shared_->mutex);
    shared_->over = true;
    shared_->changed.notify_all();
}

const std::string& user_names::of(std::uint64_t user) {
    if (shared_->known.size() >= user_names_limit && !shared_->known.contains(user))
        shared_->known.clear();
    const auto [place, is_new] = shared_->known.try_emplace(user);
    if (!is_new)
        return place->second;
    const std::lock_guard lock(shared_->mutex);
    if (shared_->wanted.size() >= user_names_limit) { // later, when some of them were looked up
        static const std::string not_yet;
        shared_->known.erase(place);
        return not_yet;
    }
    shared_->wanted.push_back(user);
    shared_->changed.notify_all();
    return place->second;
}

std::vector<std::uint64_t> user_names::found() {
    std::unordered_map<std::uint64_t, std::string> news;
    {
        const std::lock_guard lock(shared_->mutex);
        news = std::exchange(shared_->found, {});
    }
    std::vector<std::uint64_t> users;
    for (auto& [user, name] : news) {
        const auto known = shared_->known.find(user);
        if (known == shared_->known.end() || name.empty())
            continue;
        known->second = std::move(name);
        users.push_back(user);
    }
    return users;
}

user_names& names_of_users() {
    static user_names names;
    return names;
}

} // namespace gateway
