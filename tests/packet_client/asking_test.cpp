#include "client_features.h"
#include "client_limits.h"
#include "comm_socket_v4_limits.h"
#include "scripted_server.h"

#include <cerrno>

using vrdx::outcome;

namespace {

class Asking : public scripted_server {
protected:
    outcome ask(const char* command, std::uint64_t deadline) {
        return vrdx::ask_until(&connection, vrdx::simple_request(command), &reply, deadline);
    }
};

comm_socket_v4_packet large(std::size_t bytes) {
    return written("large", {{"text", std::string(bytes, 'x')}});
}

} // namespace

TEST_F(Asking, RepliesMayComeByteForByte) {
    serve([](int fd) {
        receive_packet(fd);
        for (const char byte : written("status", {{"router", "?"}}).bytes)
            send_all(fd, std::string(1, byte));
    });
    ASSERT_EQ(ask("status", soon()), outcome::done);
    EXPECT_EQ(command_of_reply(), "status");
}

TEST_F(Asking, LargestPacketsGoBothWays) {
    const std::size_t size = comm_max_packet_bytes - 100;
    serve([](int fd) {
        const comm_socket_v4_packet request = receive_packet(fd);
        const auto value = comm_socket_v4_packet_item_value(&request, request.items[2]);
        send_all(fd, written("large", {{"text", std::string(value)}}).bytes);
    });
    ASSERT_EQ(vrdx::ask_until(&connection, large(size), &reply, soon()), outcome::done);
    EXPECT_EQ(comm_socket_v4_packet_item_value(&reply, reply.items[2]), std::string(size, 'x'));
}

TEST_F(Asking, DriverTellsWhatItKnows) {
    serve([](int fd) {
        receive_packet(fd);
        send_all(fd, written("describe",
                             {{"epoch", first_epoch}, {"feature", "salvos"}, {"feature", "take until"}})
                         .bytes);
        receive_packet(fd);
        send_all(fd, written("describe", {{"epoch", first_epoch}, {"feature", "salvos"}}).bytes);
        receive_packet(fd);
        send_all(fd, written("error", {}, 1, "describe goes on at 'input N', 'output N' or 'takes'").bytes);
    });
    vrdx::driver_features features;
    ASSERT_EQ(vrdx::features_until(&connection, &features, soon()), outcome::done);
    EXPECT_TRUE(features.take_until);
    ASSERT_EQ(vrdx::features_until(&connection, &features, soon()), outcome::done);
    EXPECT_FALSE(features.take_until);
    features.take_until = true;
    ASSERT_EQ(vrdx::features_until(&connection, &features, soon()), outcome::done);
    EXPECT_FALSE(features.take_until) << "a driver from before the question";
}

TEST_F(Asking, SilentDriverIsLateAndItsConnectionClosed) {
    serve(wait_for_the_end);
    const std::uint64_t deadline = shortly();
    EXPECT_EQ(ask("status", deadline), outcome::late);
    EXPECT_GE(monotonic_us(), deadline);
    EXPECT_EQ(connection.fd, -1);
    EXPECT_EQ(ask("status", soon()), outcome::gone);
}

TEST_F(Asking, DriverThatNeverReadsIsLate) {
    serve([this](int) {
        const int release = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC); // until the test says so
        wait_for_the_end(release);
        close(release);
    });
    EXPECT_EQ(vrdx::ask_until(&connection, large(comm_max_packet_bytes - 100), &reply, shortly()),
              outcome::late);
    vrdx::driver_connection release;
    EXPECT_EQ(vrdx::connect_until(&release, path, soon()), outcome::done);
    vrdx::close_connection(&release);
}

TEST_F(Asking, DriverThatOnlyTellsThingsIsLateAllTheSame) {
    serve([](int fd) {
        const std::string alive = written("alive", {{"epoch", first_epoch}}).bytes;
        for (ssize_t sent = 1; sent > 0;)
            sent = send(fd, alive.data(), alive.size(), MSG_NOSIGNAL);
    });
    const outcome asked = ask("status", shortly()); // or more came than is kept
    EXPECT_TRUE(asked == outcome::late || asked == outcome::rejected);
    EXPECT_EQ(connection.fd, -1);
}

TEST_F(Asking, DriverThatClosesWithoutAnAnswerIsGone) {
    serve([](int fd) { receive_packet(fd); });
    EXPECT_EQ(ask("status", soon()), outcome::gone);
    EXPECT_EQ(connection.problem, "the driver closed the connection without an answer");
}

TEST_F(Asking, LastWordOfADriverThatTurnsAwayIsDelivered) {
    serve([](int fd) { send_all(fd, written("error", {}, 1, "too many clients").bytes); });
    server.join(); // it is gone before the request is sent
    ASSERT_EQ(vrdx::ask_until(&connection, large(comm_max_packet_bytes - 100), &reply, soon()),
              outcome::done);
    EXPECT_EQ(vrdx::error_text(reply), "too many clients");
    EXPECT_EQ(ask("status", soon()), outcome::gone);
}

TEST_F(Asking, WhatIsNoPacketIsRejected) {
    serve([](int fd) {
        receive_packet(fd);
        send_all(fd, "HTTP/1.0 400 Bad Request\r\n");
        wait_for_the_end(fd);
    });
    EXPECT_EQ(ask("status", soon()), outcome::rejected);
    EXPECT_EQ(connection.problem, "what answers at " + path + " is no driver");
}

TEST_F(Asking, RequestThatCannotBeSentLeavesTheConnectionOpen) {
    serve([](int fd) {
        receive_packet(fd);
        send_all(fd, written("ping", {}).bytes);
    });
    EXPECT_EQ(vrdx::ask_until(&connection, large(comm_max_packet_bytes), &reply, soon()), outcome::rejected);
    EXPECT_EQ(connection.problem, "the request is larger than 1048576 bytes");
    EXPECT_EQ(vrdx::ask_until(&connection, comm_socket_v4_packet(), &reply, soon()), outcome::rejected);
    EXPECT_EQ(ask("ping", soon()), outcome::done);
}

TEST_F(Asking, NobodyListensThere) {
    EXPECT_EQ(vrdx::connect_until(&connection, path, soon()), outcome::gone);
    EXPECT_EQ(connection.error, ENOENT);
    EXPECT_EQ(connection.problem, "no driver at " + path + ": No such file or directory");
    EXPECT_EQ(ask("ping", soon()), outcome::gone);
}

TEST_F(Asking, FullQueueOfABusyDriverIsWaitedFor) {
    ASSERT_EQ(bind_socket_path(listener, path, 0600, 0), 0);
    std::array<vrdx::driver_connection, 8> others;
    int waiting = 0;
    while (vrdx::open_connection(&others.at(static_cast<std::size_t>(waiting)), path) == 0)
        ++waiting;
    EXPECT_EQ(others.at(static_cast<std::size_t>(waiting)).error, EAGAIN);
    EXPECT_EQ(vrdx::connect_until(&connection, path, shortly()), outcome::late);
    server = std::thread([this, waiting] {
        for (int i = 0; i < waiting; ++i)
            close(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
    });
    EXPECT_EQ(vrdx::connect_until(&connection, path, soon()), outcome::done);
    for (auto& each : others)
        vrdx::close_connection(&each);
}

TEST_F(Asking, DescriptionIsReadPageByPage) {
    serve([](int fd) {
        const told_entries first{{"epoch", first_epoch}, {"sequence", "1"}, {"inputs", "2"},
                                 {"outputs", "0"},       {"input 1", "A"},  {"next", "input 2"}};
        receive_packet(fd);
        send_all(fd, written("describe", first).bytes);
        const comm_socket_v4_packet second = receive_packet(fd);
        EXPECT_STREQ(comm_socket_v4_packet_get_argv(&second, 0), "input 2");
        const told_entries last{{"epoch", first_epoch}, {"sequence", "1"}, {"input 2", "B"}};
        send_all(fd, written("describe", last).bytes);
    });
    vrdx::router_picture picture;
    ASSERT_EQ(vrdx::describe_until(&connection, &picture, soon()), outcome::done);
    ASSERT_EQ(picture.inputs.size(), 2U);
    EXPECT_EQ(picture.inputs[1].name, "B");
    EXPECT_FALSE(picture.changed_between_pages);
}

TEST_F(Asking, DriverWithoutEndOfPagesIsRejected) {
    serve([](int fd) {
        const told_entries page{{"epoch", first_epoch}, {"sequence", "1"}, {"next", "again"}};
        while (!receive_packet(fd).items.empty())
            send_all(fd, written("describe", page).bytes);
    });
    vrdx::router_picture picture;
    EXPECT_EQ(vrdx::describe_until(&connection, &picture, soon()), outcome::rejected);
}

TEST_F(Asking, OlderDriverRefusesWhatItDoesNotKnow) {
    serve([](int fd) {
        for (;;) {
            const comm_socket_v4_packet request = receive_packet(fd);
            if (request.items.empty())
                return;
            const std::string text =
                std::string("unknown command '") + comm_socket_v4_packet_get_command(&request) + "'";
            send_all(fd, written("error", {}, 1, text.c_str()).bytes);
        }
    });
    vrdx::router_picture picture;
    EXPECT_EQ(vrdx::describe_until(&connection, &picture, soon()), outcome::refused);
    EXPECT_EQ(connection.problem, "unknown command 'describe'");
    vrdx::router_watch watch;
    EXPECT_EQ(vrdx::watch_until(&connection, &watch, soon()), outcome::refused);
    vrdx::take_answer answer;
    vrdx::take_order order;
    order.takes = {{1, {1, 1}}};
    order.id = "1";
    EXPECT_EQ(vrdx::take_until(&connection, order, &answer, soon()), outcome::refused);
    std::vector<vrdx::take_record> records;
    EXPECT_EQ(vrdx::record_until(&connection, 0, &records, soon()), outcome::refused);
}

TEST_F(Asking, RecordIsReadPageByPage) {
    serve([](int fd) {
        receive_packet(fd);
        send_all(
            fd,
            written("describe", {{"epoch", first_epoch}, {"take", "1"}, {"take", "2"}, {"next", "3"}}).bytes);
        const comm_socket_v4_packet second = receive_packet(fd);
        EXPECT_EQ(comm_socket_v4_packet_item_value(&second, second.items.back()), "3");
        send_all(fd, written("describe", {{"epoch", first_epoch}, {"take", "3"}}).bytes);
    });
    std::vector<vrdx::take_record> records;
    ASSERT_EQ(vrdx::record_until(&connection, 0, &records, soon()), outcome::done);
    ASSERT_EQ(records.size(), 3U);
    EXPECT_EQ(records[2].number, 3U);
}
