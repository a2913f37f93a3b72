// Hundreds of watchers, good and bad ones: what one costs in memory, how soon all know of a change, and that
// nobody else is served worse for those who do not read.
#include "asking_client.h"
#include "client_load.h"
#include "driver_process.h"
#include "faults.h"
#include "test_files.h"

#include <cstdio>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr std::size_t watchers = 500;
constexpr long reader_kib = 8;
constexpr long deaf_kib = 64;
constexpr std::size_t active_clients = 20;
constexpr std::uint64_t longest_median_us = 250000; // holds on a loaded machine, too
constexpr rlim_t needed_descriptors = 1400;

std::chrono::milliseconds phase() {
    return std::chrono::milliseconds(long_form() ? 2500 : 1000);
}

bool enough_descriptors() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = std::max(limit.rlim_cur, std::min(needed_descriptors, limit.rlim_max));
    return setrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur >= needed_descriptors;
}

using watcher_crowd = std::vector<std::unique_ptr<test_client>>;

// All that has come is read, and forgotten; how much it was.
std::size_t read_away(const test_client& client) {
    static std::array<char, 65536> bytes{};
    std::size_t all = 0;
    ssize_t count = 0;
    while ((count = recv(client.fd(), bytes.data(), bytes.size(), MSG_DONTWAIT)) > 0)
        all += static_cast<std::size_t>(count);
    return all;
}

bool closed_by_driver(const test_client& client) {
    pollfd state{client.fd(), POLLRDHUP, 0};
    return poll(&state, 1, 0) == 1 && (state.revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0;
}

class WatcherLoad : public testing::Test {
protected:
    ~WatcherLoad() override {
        close(null_);
    }
    void SetUp() override {
        if (!enough_descriptors())
            GTEST_SKIP() << "the limit on open files is too low here";
        write_file(item_, "driver=route_simulator\nstay resident=1\nsimulated inputs=256\n"
                          "simulated outputs=256\n");
        driver_ = std::make_unique<driver_process>(
            driver_setup{.item = item_, .variables = faults_.variables(), .standard_error = null_});
        witness_ = std::make_unique<test_client>(driver_->socket_path());
        wait_for_status(*witness_, "output 64", "64,64");
    }
    // Connected, and told that they watch; what they are told then waits for them.
    [[nodiscard]] watcher_crowd watch(std::size_t count) const {
        watcher_crowd crowd;
        for (std::size_t i = 0; i < count; ++i) {
            crowd.push_back(std::make_unique<test_client>(driver_->socket_path()));
            EXPECT_EQ(crowd.back()->request("watch").command, "watch");
        }
        return crowd;
    }
    // One more round of names, which all are told.
    void change_all() {
        name_values names;
        for (int output = 1; output <= 256; ++output)
            names.emplace_back("output." + std::to_string(output) + ".name",
                               "name " + std::to_string(++names_) + std::string(200, 'n'));
        witness_->request("router set", {}, names);
    }
    void expect_service(const std::string& beside) const {
        const load_sample seen = measure_load(driver_->socket_path(), active_clients, phase());
        EXPECT_FALSE(seen.times_us.empty());
        EXPECT_EQ(seen.lost, 0U);
        EXPECT_LT(seen.percentile_us(50), longest_median_us);
        std::printf("figure: beside %-36s %5zu requests, median %.2f ms, p99 %.2f ms\n", beside.c_str(),
                    seen.times_us.size(), static_cast<double>(seen.percentile_us(50)) / 1000,
                    static_cast<double>(seen.percentile_us(99)) / 1000);
    }

    const temporary_directory directory_;
    const std::string item_ = directory_.file("item");
    faults faults_{directory_.file("plan")};
    const int null_ = open("/dev/null", O_WRONLY | O_CLOEXEC);
    std::unique_ptr<driver_process> driver_;
    std::unique_ptr<test_client> witness_;
    int names_ = 0;
};

} // namespace

TEST_F(WatcherLoad, ChangeReachesFiveHundredReadersSoonAndEachCostsLittle) {
    const long alone = own_memory_kib(driver_->pid());
    ASSERT_GT(alone, 0);
    watcher_crowd crowd = watch(watchers);
    const auto read_all = [&] {
        std::size_t bytes = 0;
        for (const auto& one : crowd)
            bytes += read_away(*one);
        return bytes;
    };
    wait_until("all know the whole picture", [&] { return read_all() == 0; });
    std::vector<std::uint64_t> spread;
    for (int change = 0; change < 20; ++change) {
        witness_->route("1=" + std::to_string(change % 2 + 5));
        // From the first who knows to the last, as this reader can see it.
        std::vector<pollfd> all;
        for (const auto& one : crowd)
            all.push_back({one->fd(), POLLIN, 0});
        poll(all.data(), all.size(), 10000);
        const std::uint64_t first = monotonic_us();
        for (pollfd& one : all)
            EXPECT_EQ(poll(&one, 1, 60000), 1);
        spread.push_back(monotonic_us() - first);
        wait_until("nothing more is told", [&] { return read_all() == 0; });
    }
    std::sort(spread.begin(), spread.end());
    const long with_readers = own_memory_kib(driver_->pid());
    std::printf(
        "figure: a change reaches %zu readers within %.2f ms of the first (median; at most %.2f ms)\n",
        watchers, static_cast<double>(spread[spread.size() / 2]) / 1000,
        static_cast<double>(spread.back()) / 1000);
    std::printf("figure: memory: %ld KiB alone, %.1f KiB more for each of %zu watchers that read\n", alone,
                static_cast<double>(with_readers - alone) / watchers, watchers);
    EXPECT_LT(with_readers - alone, reader_kib * long{watchers});
    expect_service("500 watchers that read now and then");
    for (const auto& one : crowd)
        EXPECT_FALSE(closed_by_driver(*one));
    EXPECT_EQ(driver_->stop(), (driver_end{0, 0}));
}

TEST_F(WatcherLoad, FiveHundredThatNeverReadCostABoundedAmountAndAreCut) {
    const long alone = own_memory_kib(driver_->pid());
    const std::size_t descriptors = driver_->settled_descriptor_count();
    watcher_crowd crowd = watch(watchers);
    long most = 0;
    std::size_t cut = 0;
    wait_until("all are cut", [&] {
        change_all();
        most = std::max(most, own_memory_kib(driver_->pid()));
        cut = static_cast<std::size_t>(std::count_if(crowd.begin(), crowd.end(),
                                                     [](const auto& one) { return closed_by_driver(*one); }));
        return cut == watchers;
    });
    std::printf(
        "figure: memory: %ld KiB alone, at most %.1f KiB more for each of %zu watchers that never read\n",
        alone, static_cast<double>(most - alone) / watchers, watchers);
    EXPECT_LT(most - alone, deaf_kib * long{watchers});
    wait_until("their descriptors are back", [&] { return driver_->descriptors().size() == descriptors; });
    EXPECT_EQ(witness_->status().result, 0U);
    EXPECT_EQ(driver_->stop(), (driver_end{0, 0}));
}

TEST_F(WatcherLoad, ThoseThatReadAByteNowAndThenHoldNobodyUp) {
    watcher_crowd crowd = watch(100);
    std::atomic<bool> stop = false;
    std::thread drip([&] {
        while (!stop) {
            for (const auto& one : crowd) {
                char byte = 0;
                recv(one->fd(), &byte, 1, MSG_DONTWAIT);
            }
            std::this_thread::sleep_for(std::chrono::seconds(1)); // that is what they do
        }
    });
    change_all();
    expect_service("100 watchers that read a byte a second");
    stop = true;
    drip.join();
    EXPECT_EQ(driver_->stop(), (driver_end{0, 0}));
}

TEST_F(WatcherLoad, StormOfWatchersThatComeAndGoLeavesNothingBehind) {
    const std::size_t descriptors = driver_->settled_descriptor_count();
    std::atomic<bool> stop = false;
    std::atomic<std::size_t> came = 0;
    std::vector<std::thread> storm;
    for (int i = 0; i < 8; ++i)
        storm.emplace_back([&, i] {
            while (!stop) {
                const test_client client(driver_->socket_path());
                client.send_bytes(request_bytes("watch") + (i % 2 == 0 ? request_bytes("describe") : ""));
                pollfd state{client.fd(), POLLIN, 0};
                if (i % 4 < 2)
                    poll(&state, 1, 1000);
                ++came;
            }
        });
    expect_service("a storm of watchers");
    stop = true;
    for (std::thread& thread : storm)
        thread.join();
    wait_until("all descriptors are back", [&] { return driver_->descriptors().size() == descriptors; });
    const long first = own_memory_kib(driver_->pid());
    std::printf("figure: a storm of %zu watchers leaves %ld KiB\n", came.load(), first);
    EXPECT_LT(first, 32768);
    EXPECT_GT(came, 100U);
    EXPECT_EQ(witness_->status().result, 0U);
    EXPECT_EQ(driver_->stop(), (driver_end{0, 0}));
}
