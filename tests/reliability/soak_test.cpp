// Days in short: a simulated router, twenty clients that take and rename at random, an item file that
// changes, a backend that is killed. Nothing grows, and every take that is sent arrives.
#include "driver_process.h"
#include "faults.h"
#include "test_client.h"
#include "test_files.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <thread>
#include <utility>

namespace {

constexpr int clients = 20;
constexpr int sources = 64;
constexpr int outputs = 64;
constexpr std::string_view sent_take = "STDIN: 'to output=";

std::chrono::seconds soak_time() {
    return std::chrono::seconds(long_form() ? 1800 : 20);
}

class Soak : public testing::Test {
protected:
    // Settings that the simulator does not know are ignored by it, and change the file.
    [[nodiscard]] std::string item_text(int edit) const {
        return "driver=route_counted\nstay resident=1\nsimulated inputs=64\nsimulated outputs=64\ntaken=" +
               directory_.file("taken") + "\nedit=" + std::to_string(edit) + "\n";
    }
    void start() {
        write_file(item_, item_text(0));
        driver_ = std::make_unique<driver_process>(
            driver_setup{.item = item_, .switches = {"--stderr-to-log"}, .variables = faults_.variables()});
        witness_ = std::make_unique<test_client>(driver_->socket_path());
        wait_for_status(*witness_, "output 64", "64,64");
    }

    // What the trace says was sent. The log is turned over while it is read, at most between two looks.
    std::size_t takes_sent() {
        const std::string log = directory_.file(".tavrixlog.item");
        if (!file_exists(log))
            return sent_; // it is being turned over
        const std::string text = read_file(log);
        if (text.size() < log_at_) { // a new log: the rest of the old one first
            count_takes(read_file(log + ".1"));
            log_at_ = 0;
        }
        count_takes(text);
        return sent_;
    }
    [[nodiscard]] std::size_t takes_arrived() const {
        const std::string path = directory_.file("taken");
        return file_exists(path) ? std::filesystem::file_size(path) : 0;
    }
    // Runs the clients for a while, and waits until all they asked for has arrived.
    void work(std::chrono::milliseconds duration) {
        std::vector<std::thread> threads;
        const auto end = std::chrono::steady_clock::now() + duration;
        for (unsigned number = 0; number < clients; ++number)
            threads.emplace_back([this, end, seed = ++seeds_] { ask_at_random(end, seed); });
        for (std::thread& thread : threads)
            thread.join();
        std::size_t sent = 0;
        // The same twice: nothing is still on its way from the planner to the trace.
        wait_until("every take sent has arrived", [&] {
            for (int i = 0; i < 20; ++i) // somewhere among these it writes its trace
                witness_->request("ping");
            const std::size_t before = std::exchange(sent, takes_sent());
            return before == sent && sent == takes_arrived();
        });
    }
    void edit_item() {
        replace_file(item_, item_text(++edits_));
        faults_.advance_clock(2000);
        witness_->request("ping");
    }
    void kill_backend() {
        const pid_t backend = driver_->wait_for_backend();
        ASSERT_EQ(kill(backend, SIGKILL), 0);
        wait_until("its death is noticed", [&] {
            return driver_->has_others_than({backend}) ||
                   !witness_->request("report").entry("*active").starts_with('1');
        });
        ++kills_;
        faults_.advance_clock(5000);
        wait_until("another one runs", [&] {
            const test_reply report = witness_->request("report");
            return report.entry("*active").starts_with('1');
        });
    }

    const temporary_directory directory_;
    const std::string item_ = directory_.file("item");
    faults faults_{directory_.file("plan")};
    std::unique_ptr<driver_process> driver_;
    std::unique_ptr<test_client> witness_;
    std::atomic<std::size_t> requests_ = 0;
    std::atomic<std::size_t> lost_ = 0;
    int edits_ = 0;
    int kills_ = 0;

private:
    void count_takes(const std::string& log) {
        std::size_t at = log.find(sent_take, log_at_);
        const std::size_t whole = log.rfind('\n') + 1;
        for (; at < whole; at = log.find(sent_take, at + 1))
            ++sent_;
        log_at_ = whole;
    }
    void ask_at_random(std::chrono::steady_clock::time_point end, unsigned seed) {
        std::minstd_rand random(seed);
        const auto any = [&](int most) {
            return std::to_string(random() % static_cast<unsigned long>(most) + 1);
        };
        test_client client(driver_->socket_path());
        while (std::chrono::steady_clock::now() < end) {
            const auto choice = random() % 10;
            test_reply reply;
            if (choice < 6)
                reply = client.route(any(outputs) + "=" + any(sources));
            else if (choice < 7)
                reply = client.request("router set", {},
                                       {{"output." + any(outputs) + ".name", "Name " + any(99)}});
            else if (choice < 8)
                reply = client.request("report");
            else
                reply = client.status();
            ++requests_;
            lost_ += reply.result == 0 ? 0 : 1;
            std::this_thread::sleep_for(std::chrono::milliseconds(random() % 150)); // an operator in a hurry
        }
    }

    unsigned seeds_ = 0;
    std::size_t sent_ = 0;
    std::size_t log_at_ = 0;
};

} // namespace

TEST_F(Soak, StaysAsItWasAndEveryTakeSentArrives) {
    start();
    work(std::chrono::seconds(3)); // buffers reach their size
    edit_item();
    kill_backend();
    work(std::chrono::seconds(2));
    const std::size_t descriptors = driver_->settled_descriptor_count();
    const long memory_kib = resident_kib(driver_->pid());
    const long own_kib = own_memory_kib(driver_->pid());
    ASSERT_GT(own_kib, 0);
    long most_kib = memory_kib;
    long most_own_kib = own_kib;
    const auto end = std::chrono::steady_clock::now() + soak_time();
    while (std::chrono::steady_clock::now() < end) {
        work(std::chrono::seconds(3));
        edit_item();
        if (edits_ % 2 == 0)
            kill_backend();
        wait_until("descriptors are back", [&] { return driver_->descriptors().size() == descriptors; });
        most_kib = std::max(most_kib, resident_kib(driver_->pid()));
        most_own_kib = std::max(most_own_kib, own_memory_kib(driver_->pid()));
    }
    std::printf("figure: %zu requests, %zu takes sent and arrived, %d edits, %d kills\n"
                "figure: memory: %ld KiB at first, %ld KiB at most, %ld KiB at last; %zu descriptors\n",
                requests_.load(), takes_arrived(), edits_, kills_, memory_kib, most_kib,
                resident_kib(driver_->pid()), descriptors);
    EXPECT_EQ(lost_, 0U);
    EXPECT_LE(most_own_kib - own_kib, 512);
    EXPECT_EQ(driver_->children().size(), 1U);
    EXPECT_EQ(driver_->stop(), (driver_end{0, 0}));
    EXPECT_EQ(takes_sent(), takes_arrived());
}
