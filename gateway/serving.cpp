#include "gateway/serving.h"

#include "gateway/access/state_claim.h"
#include "gateway/api/api.h"
#include "gateway/api/openapi.h"
#include "gateway/api/problem.h"
#include "gateway/api/time_text.h"
#include "gateway/api/user_names.h"
#include "gateway/audit/history_keeper.h"
#include "gateway/fronts/videohub/videohub_servers.h"
#include "gateway/http/http_server.h"
#include "gateway/repeating.h"
#include "gateway/service_manager.h"
#include "gateway/settings/descriptor_limit.h"
#include "gateway/settings/limits.h"
#include "gateway/sites/site_service.h"

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

namespace gateway {

namespace {

void print(const std::string& line) {
    std::fprintf(stderr, "vrdx_gateway: %s\n", line.c_str());
}

// Connections for which there are descriptors, beside all else that needs some.
http_limits limits_with(std::size_t descriptors) {
    http_limits limits;
    if (descriptors < descriptors_limit) {
        limits.connections = descriptors / 2;
        limits.waiting = std::min(limits.waiting, descriptors / 4);
    }
    return limits;
}

// A service's history is told to the journal, too; one that somebody runs by hand is not.
std::string journal_of_service() {
    return std::getenv("JOURNAL_STREAM") == nullptr ? "" : journal_socket;
}

class gateway_at_work {
public:
    gateway_at_work(const command_line& line, const settings& now, std::unique_ptr<access_store> access,
                    std::unique_ptr<lock_table> locks, std::unique_ptr<preset_store> presets);

    // False when it cannot listen, the certificate is wrong, or the database cannot be read; told.
    bool begin();
    void run() {
        loop_.run();
    }

private:
    http_handlers handlers();
    gateway_figures figures() const;
    void wait_for_signal();
    void reload();
    void tell_ready_when_it_is();
    void look_at_directories();
    void look_at_access();
    locked_sources shown_at(std::string_view router, int output) const;
    void drop_token(std::int64_t id);
    void look_at_user_names();
    void later(std::uint64_t ms, std::function<void()> act);
    const router_locks* locks_of(std::string_view router) const;
    sites_around around_sites();
    void stop();

    const command_line& line_;
    boost::asio::io_context loop_{1};
    boost::asio::signal_set signals_{loop_, SIGTERM, SIGINT, SIGHUP};
    std::unique_ptr<access_store> access_;
    std::unique_ptr<lock_table> locks_;
    login_limits logins_;
    write_rates writes_;
    idempotency_table keys_;
    router_board routers_;
    history_keeper history_;
    picture_shelf pictures_;
    event_hub events_;
    take_desk takes_;
    std::unique_ptr<site_service> sites_; // only where the configuration has a broker
    scrape_desk metrics_;
    std::unique_ptr<preset_store> presets_;
    recall_store kept_recalls_;
    recall_desk recalls_;
    layout_store layouts_;
    api_world world_;
    api api_;
    http_server http_;
    hub_world hub_world_;
    videohub_servers videohubs_;
    repeating access_look_, users_look_, alive_, watchdog_, ready_look_;
    std::uint64_t started_ms_ = steady_ms();
    double started_s_ = static_cast<double>(milliseconds_since_1970()) / 1000;
    std::string access_problem_; // told, as long as it is the same
    std::string directory_problem_;
    bool stopping_ = false;
};

gateway_at_work::gateway_at_work(const command_line& line, const settings& now,
                                 std::unique_ptr<access_store> access, std::unique_ptr<lock_table> locks,
                                 std::unique_ptr<preset_store> presets)
    : line_(line), access_(std::move(access)), locks_(std::move(locks)), routers_(loop_, now.items, now.run),
      history_(loop_, {now.state, now.run, journal_of_service()}, {now.history_days, now.history_bytes},
               print),
      pictures_([this](std::string_view router) { return locks_of(router); }),
      events_(
          pictures_, [this](std::string_view router) { return locks_of(router); },
          [this](std::string_view router) { return routers_.find(router); },
          [this] { return routers_.all(); },
          [this](const std::string& router, int output, const locked_sources& shown) {
              locks_->note_shown(router, output, shown);
          }),
      takes_(routers_, *locks_, history_,
             [this](const std::string& router, const std::vector<vrdx::output_take>& takes) {
                 events_.takes_begin(router, takes);
             }),
      sites_(now.sites.has_broker() ? std::make_unique<site_service>(now.sites, now.state, around_sites())
                                    : nullptr),
      metrics_(loop_, routers_, [this] { return figures(); }), presets_(std::move(presets)),
      kept_recalls_(*access_), recalls_(routers_, takes_, kept_recalls_, seconds_since_1970),
      layouts_(*access_), world_{now,
                                 routers_,
                                 *access_,
                                 *locks_,
                                 logins_,
                                 writes_,
                                 keys_,
                                 pictures_,
                                 events_,
                                 takes_,
                                 history_,
                                 metrics_,
                                 *presets_,
                                 recalls_,
                                 layouts_,
                                 std::make_shared<const std::string>(json_text(openapi_document())),
                                 [this](std::uint64_t ms, std::function<void()> act) {
                                     later(ms, std::move(act));
                                 }},
      api_(world_), http_(loop_, handlers(), limits_with(raise_descriptor_limit(descriptors_limit))),
      hub_world_{routers_, takes_, *locks_, writes_, history_, print}, videohubs_(loop_, hub_world_),
      access_look_(loop_, access_look_period_ms, [this] { look_at_access(); }),
      users_look_(loop_, user_names_look_ms, [this] { look_at_user_names(); }),
      alive_(loop_, event_alive_period_ms, [this] { events_.tell_alive(); }),
      watchdog_(loop_, watchdog_period_ms(), [] { tell_service_manager("WATCHDOG=1"); }),
      ready_look_(loop_, ready_look_period_ms, [this] { tell_ready_when_it_is(); }) {
    routers_.listen([this](const router_news& news) {
        history_.hear(news);
        events_.hear(news);
        metrics_.hear(news);
        videohubs_.hear(news);
    });
    locks_->find_shown_with([this](std::string_view router, int output) { return shown_at(router, output); });
    locks_->listen([this](const std::string& router, int output) {
        if (const shown_router* const shown = routers_.find(router))
            events_.lock_changed(*shown, output);
        videohubs_.lock_changed(router, output);
    });
}

// Those of another site's router are its owner's.
const router_locks* gateway_at_work::locks_of(std::string_view router) const {
    const router_locks* far = sites_ ? sites_->locks_of(router) : nullptr;
    return far != nullptr ? far : locks_->of_router(router);
}

sites_around gateway_at_work::around_sites() {
    return {
        loop_,    routers_,
        takes_,   *locks_,
        history_, [this](const shown_router& router, int output) { events_.lock_changed(router, output); },
        print,    steady_ms};
}

http_handlers gateway_at_work::handlers() {
    return {[this](const request& asked) { return api_.begin(asked); },
            [this](const request& asked) { return api_.accept(asked); }, problem_reply, print};
}

gateway_figures gateway_at_work::figures() const {
    gateway_figures now;
    now.connections = http_.connections();
    now.event_readers = events_.readers();
    for (const std::size_t bytes : events_.bytes_of_readers()) {
        now.event_queue_bytes += bytes;
        now.event_queue_longest_bytes = std::max(now.event_queue_longest_bytes, bytes);
    }
    now.open_requests = routers_.open_requests();
    now.routers_beyond_limit = routers_.routers_beyond_limit();
    now.started_s = started_s_;
    if (const auto history = history_.figures())
        now.kept_history = {history->up, history->waiting, history->lost, history->bytes};
    now.has_broker = sites_ != nullptr;
    if (const auto exchange = sites_ ? sites_->history_figures() : std::nullopt)
        now.exchanged_history = {exchange->up, exchange->unsent, exchange->sent, exchange->unread,
                                 exchange->read};
    return now;
}

bool gateway_at_work::begin() {
    const settings& now = world_.now;
    if (std::string problem; !recalls_.remember(&problem)) {
        print(problem);
        return false;
    }
    http_.set_proxies(now.proxies);
    if (const std::string problem = http_.read_tls_files({now.tls_certificate, now.tls_key});
        !problem.empty()) {
        print(problem);
        return false;
    }
    for (const listen_address& address : now.listen)
        if (const std::string problem = http_.listen(address.address, address.port); !problem.empty()) {
            print("cannot listen on " + address_text(address) + ": " + problem);
            return false;
        }
    const std::vector<std::string> problems = videohubs_.serve(now.videohubs);
    for (const std::string& problem : problems)
        print(problem);
    if (!problems.empty())
        return false;
    wait_for_signal();
    routers_.start();
    if (sites_)
        sites_->start();
    access_look_.begin();
    users_look_.begin();
    alive_.begin();
    watchdog_.begin();
    ready_look_.begin();
    return true;
}

void gateway_at_work::wait_for_signal() {
    signals_.async_wait([this](boost::system::error_code error, int number) {
        if (error)
            return;
        if (number == SIGHUP)
            reload();
        else
            stop();
        wait_for_signal();
    });
}

// Takes the configuration on that is there now; a wrong one changes nothing.
void gateway_at_work::reload() {
    const configuration read = read_configuration(line_);
    for (const std::string& problem : read.problems)
        print(problem);
    if (!read.problems.empty()) {
        print("the configuration of before stays");
        return;
    }
    const bool would_bare =
        std::any_of(world_.now.listen.begin(), world_.now.listen.end(), [&](const listen_address& served) {
            return !is_loopback(served.address) && !read.values.has_tls() && !read.values.insecure;
        });
    const std::string problem =
        would_bare ? "TLS cannot be left off while an address beyond this machine is served; possible: "
                     "[tls], insecure = true, or a new start"
                   : http_.read_tls_files({read.values.tls_certificate, read.values.tls_key});
    if (!problem.empty()) {
        print(problem + "; the configuration of before stays");
        return;
    }
    for (const std::string& key : keys_for_a_restart(world_.now, read.values))
        print("`" + key + "` changes with the next start only");
    http_.set_proxies(read.values.proxies);
    if (read.values.anonymous != world_.now.anonymous || read.values.walls != world_.now.walls)
        events_.end_anonymous_readers();
    settings next = read.values; // but for what stays until the next start
    next.listen = world_.now.listen;
    next.items = world_.now.items;
    next.run = world_.now.run;
    next.state = world_.now.state;
    next.sites = world_.now.sites;
    world_.now = std::move(next);
    history_.keep({world_.now.history_days, world_.now.history_bytes});
    // What cannot be served now is tried again with the next signal.
    for (const std::string& trouble : videohubs_.serve(world_.now.videohubs))
        print(trouble);
    print("the configuration was read anew");
}

void gateway_at_work::tell_ready_when_it_is() {
    if (!routers_.is_settled() && steady_ms() - started_ms_ < ready_time_limit_ms)
        return;
    ready_look_.end();
    std::string lines, text;
    for (std::size_t at = 0; at < world_.now.listen.size(); at++) {
        const std::string address = address_text({world_.now.listen[at].address, http_.port(at)});
        lines += address + "\n";
        text += (text.empty() ? "" : ", ") + address;
    }
    print("serves " + std::string(world_.now.has_tls() ? "https" : "http") + " on " + text);
    look_at_directories();
    if (!tell_service_manager("READY=1\nSTATUS=Serves " + text + "\nMAINPID=" + std::to_string(getpid())))
        print("the service manager could not be told");
    if (!tell_ready_fd(line_.ready_fd, lines))
        print("readiness could not be told on descriptor " + std::to_string(line_.ready_fd));
}

void gateway_at_work::look_at_directories() {
    const std::string problem = routers_.directory_problem();
    if (std::exchange(directory_problem_, problem) != problem)
        print(problem.empty() ? "items and sockets can be read again" : problem);
}

void gateway_at_work::look_at_access() {
    if (ready_look_.has_ended())
        look_at_directories();
    locks_->keep_shown();
    const access_news news = access_->look(seconds_since_1970());
    if (std::exchange(access_problem_, news.problem) != news.problem)
        print(news.problem.empty() ? "tokens and sessions are read and written again" : news.problem);
    if (access_->kept().write_problem().empty()) // else the store looks whether it can be written again
        recalls_.write();
    if (news.removed_tokens.empty() && news.ended_sessions.empty())
        return;
    events_.end_readers(news.removed_tokens, news.ended_sessions);
    for (const std::int64_t id : news.removed_tokens)
        drop_token(id);
}

// What the router has confirmed; else a lock is kept without it, until it has.
locked_sources gateway_at_work::shown_at(std::string_view router, int output) const {
    const shown_router* const shown = routers_.find(router);
    if (shown == nullptr || output < 1 || static_cast<std::size_t>(output) > shown->picture.outputs.size())
        return {};
    const vrdx::picture_output& place = shown->picture.outputs[static_cast<std::size_t>(output - 1)];
    return place.waits_ms ? locked_sources() : locked_sources{place.sources.video, place.sources.audio};
}

void gateway_at_work::drop_token(std::int64_t id) {
    routers_.drop_lane(std::to_string(id));
    // Behind the endings of its takes: they answer the requests that wait for the same key.
    boost::asio::post(loop_, [this, id] { keys_.forget(id); });
}

void gateway_at_work::look_at_user_names() {
    if (const std::vector<std::uint64_t> found = names_of_users().found(); !found.empty())
        events_.users_named(found);
}

void gateway_at_work::later(std::uint64_t ms, std::function<void()> act) {
    const auto timer = std::make_shared<boost::asio::steady_timer>(loop_, std::chrono::milliseconds(ms));
    timer->async_wait([timer, called = std::move(act)](boost::system::error_code error) {
        if (!error)
            called();
    });
}

void gateway_at_work::stop() {
    if (std::exchange(stopping_, true)) { // asked twice: at once
        loop_.stop();
        return;
    }
    print("ends");
    tell_service_manager("STOPPING=1");
    ready_look_.end();
    videohubs_.end();
    http_.stop([this] {
        locks_->keep_shown();
        if (sites_)
            sites_->stop();
        routers_.stop();
        boost::asio::post(loop_,
                          [this] { loop_.stop(); }); // behind the endings of takes: they go to the history
    });
}

} // namespace

int serve(const command_line& line, const configuration& started_with) {
    std::signal(SIGPIPE, SIG_IGN);
    umask(077);                    // before there are threads: what any of them makes is the gateway's alone
    std::signal(SIGHUP, SIG_IGN);  // until it is waited for: the configuration was read just now
    std::signal(SIGXFSZ, SIG_IGN); // a file that may not grow is a problem to tell, no reason to end
    const settings& now = started_with.values;
    std::string problem;
    auto access = access_store::open(now.state, database_busy_ms, &problem);
    const auto claim = access ? state_claim::take(now.state, &problem) : nullptr;
    auto locks = claim ? lock_table::open(*access, &problem) : nullptr;
    auto presets = locks ? preset_store::open(*access, &problem) : nullptr;
    if (!presets) {
        print(problem);
        return exit_failed;
    }
    access->wait_no_more();
    gateway_at_work work(line, now, std::move(access), std::move(locks), std::move(presets));
    if (!work.begin())
        return exit_failed;
    work.run();
    return exit_done;
}

} // namespace gateway
