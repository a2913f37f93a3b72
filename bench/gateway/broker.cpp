#include "broker.h"

#include "../measure.h"
#include "gateway/sites/site_messages.h"
#include "gateway/sites/subjects.h"

#include <atomic>
#include <fstream>
#include <mutex>
#include <nats/nats.h>
#include <sstream>
#include <stdexcept>
#include <thread>

using namespace gateway;

namespace {

constexpr double patience_ms = 60000;
constexpr double tick_ms = 50; // a change of each site
constexpr int ticks_per_beat = 10;
constexpr int size = 16;

const state_and_reason up{router_state::up, {}};

// The address in the file that the broker writes once it listens; "" before.
std::string address_in(const std::string& file) {
    std::ifstream told(file);
    std::stringstream text;
    text << told.rdbuf();
    const std::string whole = text.str();
    const std::size_t begin = whole.find("nats://"), end = whole.find('"', begin);
    return begin == std::string::npos || end == std::string::npos ? "" : whole.substr(begin, end - begin);
}

struct played_router {
    std::string name;
    std::uint64_t at = 1;
    vrdx::router_picture picture;
};

vrdx::router_picture first_picture() {
    vrdx::router_picture picture;
    picture.epoch = "0123456789abcdef";
    picture.backend = vrdx::backend_state::running;
    picture.link = vrdx::link_state::up;
    for (int number = 1; number <= size; ++number) {
        picture.inputs.push_back({true, "Input " + std::to_string(number), {}});
        vrdx::picture_output output;
        output.told = true;
        output.name = "Output " + std::to_string(number);
        output.sources = {number, number};
        picture.outputs.push_back(output);
    }
    return picture;
}

} // namespace

site_broker::site_broker(const work_directory& directory) {
    const std::string here = directory.file("");
    program_ = std::make_unique<running_program>(std::vector<std::string>{
        "/usr/sbin/nats-server", "-a", "127.0.0.1", "-p", "-1", "--ports_file_dir", here});
    const std::string file = here + "nats-server_" + std::to_string(program_->pid()) + ".ports";
    for (double waited = 0; address_.empty(); waited += 5) {
        if (waited > patience_ms)
            throw std::runtime_error("the broker does not start");
        sleep_ms(5);
        address_ = address_in(file);
    }
}

std::string site_broker::settings(const std::string& site, const std::vector<std::string>& peers) const {
    std::string lines = "site = \"" + site + "\"\n[nats]\nservers = \"" + address_ + "\"\n";
    for (const std::string& peer : peers)
        lines += "[[peer]]\nsite = \"" + peer + "\"\n";
    return lines;
}

struct played_sites::playing {
    struct site {
        std::string name;
        std::vector<played_router> routers;
        std::size_t next = 0; // the router that changes next
    };

    static void answer(natsConnection* to, natsSubscription*, natsMsg* asked, void* closure) {
        auto& self = *static_cast<playing*>(closure);
        const auto address = router_address_of(natsMsg_GetSubject(asked));
        const auto begin = read_page_request(
            {natsMsg_GetData(asked), static_cast<std::size_t>(natsMsg_GetDataLength(asked))});
        std::string text;
        if (address && begin) {
            const std::scoped_lock lock(self.mutex);
            for (const site& each : self.sites)
                for (const played_router& router : each.routers)
                    if (each.name == address->site && router.name == address->router)
                        text = page_text(self.run, router.at, {up, router.picture, nullptr}, *begin);
        }
        natsConnection_Publish(to, natsMsg_GetReply(asked), text.data(), static_cast<int>(text.size()));
        natsMsg_Destroy(asked);
    }

    void say(const std::string& subject, const std::string& text) const {
        if (natsConnection_Publish(nats, subject.c_str(), text.data(), static_cast<int>(text.size())) !=
            NATS_OK)
            broken = true;
    }

    void beat(const site& of) const {
        alive_message alive;
        alive.beat = {run, boot_ms()};
        for (const played_router& router : of.routers)
            alive.routers.push_back({router.name, router_state::up, router.at});
        say(alive_subject(of.name), alive_text(alive));
    }

    void change(site& of) const {
        played_router& router = of.routers[of.next++ % of.routers.size()];
        vrdx::picture_output& output = router.picture.outputs[0];
        output.sources.video = output.sources.audio = output.sources.video % size + 1;
        change_message change;
        change.run = run;
        change.from = router.at;
        change.to = ++router.at;
        vrdx::picture_news places;
        places.outputs = {1};
        say(router_subject(of.name, router.name, "evt"),
            change_text(change, {up, router.picture, nullptr}, places));
    }

    void play() {
        for (std::uint64_t tick = 0; !ending; ++tick) {
            {
                const std::scoped_lock lock(mutex);
                for (site& each : sites) {
                    if (tick % ticks_per_beat == 0)
                        beat(each);
                    change(each);
                }
            }
            sleep_ms(tick_ms);
        }
    }

    const std::string run = new_run();
    natsConnection* nats = nullptr;
    std::vector<natsSubscription*> listening;
    std::mutex mutex; // of the sites
    std::vector<site> sites;
    std::atomic<bool> ending = false;
    mutable std::atomic<bool> broken = false;
    std::thread thread;
};

played_sites::played_sites(const site_broker& broker, std::size_t sites, std::size_t routers)
    : playing_(std::make_unique<playing>()) {
    if (natsConnection_ConnectTo(&playing_->nats, broker.address().c_str()) != NATS_OK)
        throw std::runtime_error("the sites do not find their broker");
    for (std::size_t at = 1; at <= sites; ++at) {
        playing::site each;
        each.name = "s" + std::to_string(at);
        for (std::size_t number = 1; number <= routers; ++number)
            each.routers.push_back({"r" + std::to_string(number), 1, first_picture()});
        names_.push_back(each.name);
        playing_->sites.push_back(std::move(each));
        natsSubscription* made = nullptr;
        if (natsConnection_Subscribe(&made, playing_->nats, router_subject(names_.back(), "*", "get").c_str(),
                                     playing::answer, playing_.get()) != NATS_OK)
            throw std::runtime_error("the sites cannot listen");
        playing_->listening.push_back(made);
    }
    playing_->thread = std::thread([this] { playing_->play(); });
}

played_sites::~played_sites() {
    playing_->ending = true;
    playing_->thread.join();
    for (natsSubscription* each : playing_->listening) {
        natsSubscription_Drain(each);
        natsSubscription_WaitForDrainCompletion(each, static_cast<std::int64_t>(patience_ms));
        natsSubscription_Destroy(each);
    }
    natsConnection_Destroy(playing_->nats);
}
