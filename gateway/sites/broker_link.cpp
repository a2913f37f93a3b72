#include "broker_link.h"

#include "broker_options.h"
#include "site_limits.h"
#include "subjects.h"

#include <algorithm>
#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <chrono>
#include <csignal>
#include <utility>

namespace gateway {
namespace {

std::uint64_t steady_ms() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

// When this site's own word came back last, steady; 0: not yet.
using echo_time = std::atomic<std::uint64_t>;

// What a subscription needs of us until the library is done with it.
struct subscribed {
    std::shared_ptr<incoming_messages> incoming; // null: nothing is handed on, the echo alone is noted
    std::size_t queue = 0;
    std::shared_ptr<echo_time> echo = nullptr;
};

void hear_message(natsConnection*, natsSubscription*, natsMsg* message, void* closure) {
    const auto text = [](const char* it) { return std::string(it == nullptr ? "" : it); };
    const auto& into = *static_cast<const subscribed*>(closure);
    if (into.echo) {
        *into.echo = steady_ms();
        natsMsg_Destroy(message);
        return;
    }
    const auto length = static_cast<std::size_t>(natsMsg_GetDataLength(message));
    if (length <= message_bytes_limit) {
        site_message heard{text(natsMsg_GetSubject(message)), text(natsMsg_GetReply(message)), {}, false};
        if (length > 0)
            heard.data.assign(natsMsg_GetData(message), length);
        heard.nobody = natsMsg_IsNoResponders(message);
        into.incoming->add(into.queue, std::move(heard));
    }
    natsMsg_Destroy(message);
}

natsStatus publish(natsConnection* to, const site_message& message) {
    const auto bytes = static_cast<int>(message.data.size());
    if (message.reply.empty())
        return natsConnection_Publish(to, message.subject.c_str(), message.data.data(), bytes);
    return natsConnection_PublishRequest(to, message.subject.c_str(), message.reply.c_str(),
                                         message.data.data(), bytes);
}

} // namespace

struct broker_link::connection {
    connection() = default;
    ~connection() {
        for (natsSubscription* each : subscriptions)
            natsSubscription_Destroy(each);
        if (nats != nullptr)
            natsConnection_Close(nats);
        natsConnection_Destroy(nats);
    }
    connection(const connection&) = delete;
    connection& operator=(const connection&) = delete;

    // False: with *problem.
    bool subscribe(const std::string& subject, subscribed into, std::string* problem) {
        auto closure = std::make_unique<subscribed>(std::move(into));
        natsSubscription* made = nullptr;
        natsStatus status =
            natsConnection_Subscribe(&made, nats, subject.c_str(), hear_message, closure.get());
        if (status == NATS_OK) {
            subscriptions.push_back(made);
            natsSubscription_SetPendingLimits(made, static_cast<int>(incoming_messages_limit),
                                              static_cast<int>(incoming_bytes_limit));
            // Freed when the library is done with the subscription, which may be later than this connection.
            status = natsSubscription_SetOnCompleteCB(
                made, [](void* done) { delete static_cast<subscribed*>(done); }, closure.release());
        }
        if (status != NATS_OK)
            *problem = "cannot listen to " + subject + ": " + natsStatus_GetText(status);
        return status == NATS_OK;
    }

    // The library's own look at that goes by the clock of the day: where that is put back by an hour, it does
    // not look for an hour.
    [[nodiscard]] bool is_silent() const {
        const std::uint64_t heard = *echo;
        return heard != 0 && steady_ms() > heard + broker_silence_limit_ms;
    }

    // What the broker has against us, "" when nothing; each thing once.
    std::string news() {
        const char* text = nullptr;
        if (natsConnection_GetLastError(nats, &text) == NATS_OK || text == nullptr)
            return {};
        return std::exchange(told, text) == text ? std::string() : told;
    }

    natsConnection* nats = nullptr;
    std::vector<natsSubscription*> subscriptions;
    std::shared_ptr<echo_time> echo = std::make_shared<echo_time>(0);
    std::string told;
};

broker_link::broker_link(boost::asio::io_context& loop, site_settings settings,
                         std::vector<heard_subject> subjects, broker_handlers handlers)
    : loop_(loop), settings_(std::move(settings)), subjects_(std::move(subjects)),
      handlers_(std::move(handlers)),
      incoming_(std::make_shared<incoming_messages>(loop, subjects_.size(), handlers_.hear)) {
    for (std::size_t at = 0; at < subjects_.size(); at++)
        incoming_->pace(at, subjects_[at].per_turn);
}

broker_link::~broker_link() {
    stop();
}

// Signals are the loop's: the thread, and those that the library begins from it, get none.
void broker_link::start() {
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    thread_ = std::thread([this] { work(); });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void broker_link::end() {
    *lives_ = false;
    connected_ = false;
    incoming_->close();
    {
        const std::scoped_lock lock(mutex_);
        ending_ = true;
    }
    changed_.notify_all();
}

void broker_link::stop() {
    end();
    if (thread_.joinable())
        thread_.join();
}

bool broker_link::send(site_message message) {
    {
        const std::scoped_lock lock(mutex_);
        if (!open_ || !outgoing_.add(std::move(message)))
            return false;
    }
    changed_.notify_all();
    return true;
}

bool broker_link::has_room_for_page() const {
    const std::scoped_lock lock(mutex_);
    return open_ && outgoing_.has_room_for_page();
}

// --- the thread --------------------------------------------------------------------------------------------

void broker_link::work() {
    if (nats_Open(-1) != NATS_OK || nats_SetMessageDeliveryPoolSize(1) != NATS_OK) {
        tell(false, "the broker's client library does not start");
        return;
    }
    std::string told;
    std::uint64_t pause_ms = broker_retry_pause_ms;
    for (;;) {
        std::string problem;
        const std::unique_ptr<connection> made = connect(&problem);
        {
            const std::scoped_lock lock(mutex_);
            if (ending_)
                break;
            open_ = made != nullptr;
        }
        if (made) {
            told.clear();
            pause_ms = broker_retry_pause_ms;
            tell(true, "connected to the broker as site " + settings_.site);
            write_until_it_ends(*made);
            tell(false, "the connection to the broker has ended");
        } else if (std::exchange(told, problem) != problem) {
            tell(false, problem);
        }
        pause(pause_ms);
        pause_ms = std::min(pause_ms * 2, broker_longest_pause_ms);
    }
    nats_ReleaseThreadMemory();
}

std::unique_ptr<broker_link::connection> broker_link::connect(std::string* problem) {
    const broker_options options = options_for(settings_, problem);
    if (!options)
        return nullptr;
    auto made = std::make_unique<connection>();
    const natsStatus status = natsConnection_Connect(&made->nats, options.get());
    if (status != NATS_OK) {
        *problem = std::string("cannot connect to the broker: ") + natsStatus_GetText(status);
        return nullptr;
    }
    for (std::size_t at = 0; at < subjects_.size(); at++)
        if (!made->subscribe(subjects_[at].subject, {incoming_, at}, problem))
            return nullptr;
    if (!made->subscribe(alive_subject(settings_.site), {nullptr, 0, made->echo}, problem))
        return nullptr;
    // The broker knows all of it before anything is said.
    if (natsConnection_FlushTimeout(made->nats, static_cast<std::int64_t>(connect_time_limit_ms)) !=
        NATS_OK) {
        *problem = "the broker does not answer";
        return nullptr;
    }
    return made;
}

// What is left then is forgotten: whoever comes back hears nothing of before.
void broker_link::write_until_it_ends(connection& to) {
    const auto look = std::chrono::milliseconds(broker_look_period_ms);
    std::unique_lock lock(mutex_);
    while (!ending_ && !natsConnection_IsClosed(to.nats) && !to.is_silent()) {
        if (outgoing_.is_empty())
            changed_.wait_for(lock, look, [this] { return ending_ || !outgoing_.is_empty(); });
        const std::deque<site_message> batch = outgoing_.next();
        lock.unlock();
        natsStatus status = NATS_OK;
        for (const site_message& each : batch) {
            status = publish(to.nats, each);
            if (status != NATS_OK)
                break;
        }
        if (const std::string news = to.news(); !news.empty())
            tell(true, "the broker says: " + news);
        lock.lock();
        if (status != NATS_OK)
            break;
    }
    open_ = false;
    outgoing_.clear();
}

void broker_link::tell(bool connected, const std::string& line) {
    boost::asio::post(loop_, [this, lives = lives_, connected, line] {
        if (!*lives)
            return;
        handlers_.print(line);
        if (std::exchange(connected_, connected) != connected)
            handlers_.connected(connected);
    });
}

void broker_link::pause(std::uint64_t ms) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::milliseconds(ms), [this] { return ending_; });
}

} // namespace gateway
