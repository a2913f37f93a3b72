// What was answered as withdrawn or refused never reaches the backend: not one that was stopped and goes on,
// nor the one that is started after it.
#include "asking_client.h"
#include "boot_ms.h"
#include "driver_process.h"
#include "stamped_backend.h"

#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>

namespace {

constexpr int salvo = 60; // takes: half a second of messages
constexpr int last_output = 400;

class NeverLate : public testing::Test {
protected:
    NeverLate() : driver_(backend_.item(4000, last_output)), client_(driver_.socket_path()) {
        test_client asking(driver_.socket_path());
        wait_for_status(asking, "out points", "128");
    }

    // A take of its own: no two bring the same source to the same output.
    void take(int output, int within_ms = 60000) {
        client_.take(std::to_string(output), {pair_of(output)}, within_ms);
        asked_.push_back(output);
    }
    // Outputs 1 to 60 in one packet.
    void take_salvo() {
        std::vector<std::string> takes;
        for (int output = 1; output <= salvo; ++output)
            takes.push_back(pair_of(output));
        client_.take("salvo", takes);
    }
    static std::string pair_of(int output) {
        return std::to_string(output) + "=" + std::to_string(1000 + output);
    }
    std::string result_of(int output) {
        const std::string id = std::to_string(output);
        return client_.answer(id).entry("output " + id);
    }
    [[nodiscard]] bool was_heard(int output) const {
        return backend_.takes().contains({output, 1000 + output});
    }
    // Behind everything that this client asked for before: when it is confirmed, all that was to come has
    // come.
    void take_marker() {
        const std::string output = std::to_string(last_output);
        wait_until("a marker is confirmed", [&] {
            const std::string id = "marker " + std::to_string(++markers_);
            client_.take(id, {output + "=1"});
            return client_.answer(id).entry("output " + output) == "confirmed";
        });
    }
    void expect_nothing_late() {
        for (const int output : asked_) {
            const std::string result = result_of(output);
            const bool may_come = result == "confirmed" || result.starts_with("unknown");
            EXPECT_TRUE(may_come || result.starts_with("withdrawn") || result.starts_with("refused"))
                << output << " " << result;
            EXPECT_TRUE(may_come || !was_heard(output)) << output << " " << result;
        }
        EXPECT_EQ(client_.answered_twice(), 0);
    }
    [[nodiscard]] int count_of_results(const std::string& beginning) {
        int count = 0;
        for (const int output : asked_)
            count += result_of(output).starts_with(beginning) ? 1 : 0;
        return count;
    }
    // Until the second backend, or a later one, is there.
    void wait_for_next_backend(pid_t before) {
        wait_until("the next backend", [&] {
            const auto children = driver_.children();
            return children.size() == 1 && children[0] != before;
        });
    }

    const temporary_directory directory_;
    const stamped_backend backend_{directory_};
    driver_process driver_;
    asking_client client_;
    std::vector<int> asked_;
    int markers_ = 0;
};

} // namespace

TEST_F(NeverLate, StoppedBackendGetsNothingThatWasWithdrawnWhenItGoesOn) {
    const pid_t backend = driver_.wait_for_backend();
    kill(backend, SIGSTOP);
    wait_until("it is stopped", [&] { return process_state(backend) == 'T'; });
    for (int output = 61; output <= 65; ++output)
        take(output, 3000); // on their way at once
    take_salvo();
    for (int output = 66; output <= 100; ++output)
        take(output, 150); // the salvo keeps them for longer
    take(101, 3000);       // and this one will mostly be on its way
    EXPECT_GT(count_of_results("withdrawn not sent in time"), 0);
    EXPECT_GT(count_of_results("unknown not confirmed in time"), 0);
    EXPECT_TRUE(backend_.takes().empty()) << "it has read nothing so far";
    kill(backend, SIGCONT);
    take_marker();
    expect_nothing_late();
    EXPECT_TRUE(was_heard(61)) << "what had been written arrives";
    EXPECT_EQ(driver_.stop(), (driver_end{0, 0}));
}

TEST_F(NeverLate, StoppedDriverDoesNothingOfWhatItReadsTooLateWhenItGoesOn) {
    const pid_t driver = driver_.pid();
    kill(driver, SIGSTOP);
    wait_until("it is stopped", [&] { return process_state(driver) == 'T'; });
    const std::uint64_t until = boot_ms() + 200;
    for (int output = 1; output <= 20; ++output) {
        const std::string id = std::to_string(output);
        client_.send("take", {pair_of(output)}, {{"id", id}, {"until", std::to_string(until)}});
        asked_.push_back(output);
    }
    client_.send("take", {pair_of(21)}, {{"id", "21"}, {"until", std::to_string(until + 3600000)}});
    wait_until("the moment has passed", [&] { return boot_ms() > until; });
    EXPECT_TRUE(backend_.takes().empty()) << "it has sent nothing so far";
    kill(driver, SIGCONT);
    EXPECT_EQ(count_of_results("refused too late"), 20);
    EXPECT_EQ(result_of(21), "confirmed") << "its moment is in an hour";
    take_marker();
    expect_nothing_late();
    EXPECT_TRUE(was_heard(21));
    EXPECT_EQ(driver_.stop(), (driver_end{0, 0}));
}

TEST_F(NeverLate, BackendAfterAKilledOneGetsNothingThatWasWithdrawn) {
    const pid_t backend = driver_.wait_for_backend();
    take_salvo();
    for (int output = 66; output <= 100; ++output)
        take(output);
    wait_until("the salvo is on its way", [&] { return backend_.takes().size() > 5; });
    kill(backend, SIGKILL);
    EXPECT_EQ(count_of_results("withdrawn backend ended"), 35);
    for (int output = 1; output <= salvo; ++output)
        EXPECT_EQ(client_.answer("salvo").entry("output " + std::to_string(output)), "unknown backend ended");
    wait_for_next_backend(backend);
    take_marker();
    expect_nothing_late();
    const auto heard = backend_.takes();
    for (int output = 1; output <= salvo; ++output)
        EXPECT_LE(heard.count({output, 1000 + output}), 1U) << "nor a second time";
}

TEST_F(NeverLate, MissingBackendIsToldNothingWhenItComes) {
    const pid_t backend = driver_.wait_for_backend();
    write_file(backend_.fail_file(), "");
    kill(backend, SIGKILL);
    // Some find no backend, some perhaps one that is about to end.
    int output = salvo;
    int looks = 0;
    wait_until("two starts in vain", [&] {
        if (++looks % 20 == 0 && output < last_output - 1)
            take(++output);
        client_.send("describe");
        const std::string starts = client_.packet("describe").entry("backend starts");
        return starts.substr(0, starts.find(' ')) == "3";
    });
    EXPECT_GT(count_of_results("refused no backend"), 0);
    EXPECT_EQ(count_of_results("refused no backend") + count_of_results("withdrawn backend ended") +
                  count_of_results("unknown backend ended"),
              static_cast<int>(asked_.size()));
    std::filesystem::remove(backend_.fail_file());
    take_marker();
    expect_nothing_late();
}
