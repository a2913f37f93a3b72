// Every call of a short life fails in its turn, once and from then on: the driver survives or ends in a clear
// way, and the metadata file is the old or the new one as a whole.
#include "comm_socket_v4_connection.h"
#include "driver_process.h"
#include "faults.h"
#include "monotonic_us.h"
#include "test_client.h"
#include "test_files.h"

#include <algorithm>
#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostream>

namespace {

using testing::AnyOf;
using testing::Eq;
using testing::HasSubstr;

struct failing_call {
    const char* name;
    fault_call call;
    int error;
    std::uint64_t fewest; // calls of a whole life; a count below it means that nothing was interposed
};

void PrintTo(const failing_call& one, std::ostream* stream) {
    *stream << one.name;
}

const std::string old_metadata = "duration=5\nkept=1\n1:stream=7\n";
// How long a client waits for a driver that was struck, that may be struck by the next call, and for one in
// whose life nothing fails. A client that gives up too early only ends that life sooner.
constexpr std::uint64_t after_failure_us = 150000;
constexpr std::uint64_t before_failure_us = 1000000;
constexpr std::uint64_t patience_us = 60000000;

class FailingCalls : public testing::TestWithParam<failing_call> {
protected:
    FailingCalls() {
        write_scripted_item(directory_, announce_router(4, 3), "stay resident=1\n");
    }

    // One life: start, some passes, a take, the end through a client.
    void live(std::uint64_t first, std::uint64_t failures) {
        patience_us_ = failures == 0 ? patience_us : before_failure_us;
        write_file(metadata_, old_metadata);
        std::filesystem::remove(log_);
        faults_.fail(GetParam().call, first, failures, GetParam().error);
        driver_process driver(driver_setup{.item = directory_.file("item"),
                                           .switches = {"--write-metadata", "--stderr-to-log"},
                                           .variables = faults_.variables()});
        const bool answered = be_a_client(driver);
        EXPECT_TRUE(answered || failures > 0);
        if (!answered) {
            wait_until("it heeds signals or has ended",
                       [&] { return catches_signal(driver.pid(), SIGTERM) || !driver.running(); });
            if (driver.running())
                driver.signal(SIGTERM);
        }
        const driver_end end = driver.wait_exit();
        const std::string trace = driver.whole_trace() + (file_exists(log_) ? read_file(log_) : "");
        expect_clear(end, trace);
        expect_whole_metadata(end);
    }

    const temporary_directory directory_;
    const std::string metadata_ = directory_.file(".tavrixmeta.item");
    const std::string log_ = directory_.file(".tavrixlog.item");
    faults faults_{directory_.file("plan")};
    std::string new_metadata_;

private:
    std::uint64_t patience_us_ = 0;

    [[nodiscard]] std::uint64_t patience() const {
        return faults_.has_struck() ? after_failure_us : patience_us_;
    }
    // Only an end that the driver has told about, or cannot have told about because that is what failed.
    void expect_clear(const driver_end& end, const std::string& trace) {
        EXPECT_THAT(end, AnyOf(Eq(driver_end{0, 0}), Eq(driver_end{1, 0}), Eq(driver_end{-1, SIGABRT})))
            << trace;
        if (end.signal == SIGABRT) {
            EXPECT_EQ(GetParam().call, fault_call::allocate);
            EXPECT_THAT(trace,
                        AnyOf(HasSubstr("Ended by an uncaught exception\n"), HasSubstr("terminate called")));
        }
    }
    void expect_whole_metadata(const driver_end& end) {
        const std::string found = read_file(metadata_);
        if (new_metadata_.empty())
            new_metadata_ = found; // of the first life, in which nothing fails
        EXPECT_THAT(found, AnyOf(old_metadata, new_metadata_));
        for (const auto& entry : std::filesystem::directory_iterator(directory_.path())) {
            const bool temporary = entry.path().string().find(".tmp~") != std::string::npos;
            EXPECT_FALSE(temporary && end.signal == 0) << entry.path();
            if (temporary)
                std::filesystem::remove(
                    entry.path()); // an abort may leave it; the next of its number replaces it
        }
    }
    // False when the driver did not answer all the way.
    bool be_a_client(driver_process& driver) {
        comm_socket_v4_connection connection;
        const bool answered = connect(driver, &connection) && see_the_router(&connection) &&
                              ask(&connection, "route", "1=2").command == "route" &&
                              ask(&connection, "exit").command == "exit";
        comm_socket_v4_disconnect(&connection);
        return answered;
    }
    bool connect(driver_process& driver, comm_socket_v4_connection* connection) {
        return becomes_true([&] {
                   return comm_socket_v4_connect(connection, driver.socket_path()) == 0 || !driver.running();
               }) &&
               connection->fd >= 0;
    }
    // Without a backend there is none to see; false only when nobody answers.
    bool see_the_router(comm_socket_v4_connection* connection) {
        const std::uint64_t start = monotonic_us();
        for (;;) {
            const test_reply reply = ask(connection, "status");
            if (reply.command != "status" || reply.entry("out points") == "3")
                return reply.command == "status";
            if (monotonic_us() - start > patience())
                return true;
        }
    }
    test_reply ask(comm_socket_v4_connection* connection, const char* command,
                   const char* argument = nullptr) {
        comm_socket_v4_packet request;
        comm_socket_v4_packet reply;
        comm_socket_v4_packet_begin_writing(&request, 0, command, argument);
        comm_socket_v4_packet_write_argv_end(&request);
        comm_socket_v4_packet_write_end(&request);
        test_reply result;
        if (comm_socket_v4_exchange(connection, request, &reply, monotonic_us() + patience()) !=
            comm_exchange::done)
            return result;
        result.command = comm_socket_v4_packet_get_command(&reply);
        for (const auto index : reply.entries)
            result.entries.emplace_back(comm_socket_v4_packet_item_name(&reply, reply.items[index]),
                                        comm_socket_v4_packet_item_value(&reply, reply.items[index]));
        return result;
    }
};

} // namespace

TEST_P(FailingCalls, AreSurvivedOrEndTheDriverClearly) {
    live(for_ever, 0);
    ASSERT_GE(faults_.seen(), GetParam().fewest) << "nothing is interposed";
    EXPECT_EQ(new_metadata_.find("duration=5"), std::string::npos) << "it is not rewritten";
    // Not every life makes as many calls; three that stay below the number in a row are the end.
    std::uint64_t number = 1;
    for (const std::uint64_t failures : {std::uint64_t{1}, for_ever}) {
        int unharmed = 0;
        for (number = 1; unharmed < 3; ++number) {
            SCOPED_TRACE("call " + std::to_string(number) + (failures == 1 ? ", once" : " and all after it"));
            live(number, failures);
            ASSERT_FALSE(HasFailure());
            unharmed = faults_.has_struck() ? 0 : unharmed + 1;
        }
        std::printf("figure: %s: %lu calls failed in their turn, %s\n", GetParam().name,
                    static_cast<unsigned long>(number - 4), failures == 1 ? "once" : "and all after them");
    }
    live(for_ever, 0);
    EXPECT_EQ(read_file(metadata_), new_metadata_);
}

INSTANTIATE_TEST_SUITE_P(Calls, FailingCalls,
                         testing::Values(failing_call{"malloc", fault_call::allocate, ENOMEM, 100},
                                         failing_call{"write", fault_call::write_bytes, EIO, 3},
                                         failing_call{"fsync", fault_call::sync_file, EIO, 2},
                                         failing_call{"rename", fault_call::rename_file, EACCES, 2},
                                         failing_call{"open", fault_call::open_file, EMFILE, 5},
                                         failing_call{"accept4", fault_call::accept_client, EMFILE, 1},
                                         failing_call{"pipe2", fault_call::make_pipe, EMFILE, 3},
                                         failing_call{"fork", fault_call::fork_child, EAGAIN, 1},
                                         failing_call{"dup", fault_call::duplicate, EMFILE, 5},
                                         failing_call{"execv", fault_call::execute, EACCES, 1}),
                         [](const auto& one) { return std::string(one.param.name); });
