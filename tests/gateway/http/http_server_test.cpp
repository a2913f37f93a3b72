// The server with small limits, so that each of them is reached at once.
#include "gateway/http/http_server.h"

#include "wait_until.h"

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>
#include <future>
#include <thread>

namespace gateway {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using std::chrono::milliseconds;

std::shared_ptr<const std::string> shared(std::string text) {
    return std::make_shared<const std::string>(std::move(text));
}

// Tells the same text for ever.
class endless_source : public event_source {
public:
    void begun(event_sink*) override {}
    std::shared_ptr<const std::string> next() override {
        return text_;
    }
    void ended() override {
        has_ended = true;
    }
    std::atomic<bool> has_ended{false};

private:
    std::shared_ptr<const std::string> text_ = shared(std::string(65536, 'x'));
};

class silent_source : public event_source {
public:
    void begun(event_sink*) override {}
    std::shared_ptr<const std::string> next() override {
        return nullptr;
    }
    void ended() override {
        has_ended = true;
    }
    std::atomic<bool> has_ended{false};
};

// A client that waits for each of its steps.
class client {
public:
    explicit client(unsigned short port, int receive_buffer = 0) {
        socket_.open(tcp::v4());
        if (receive_buffer > 0)
            socket_.set_option(asio::socket_base::receive_buffer_size(receive_buffer));
        socket_.connect({asio::ip::address_v4::loopback(), port});
    }
    void send(const std::string& text) {
        boost::system::error_code ignored; // the other side may have cut already
        asio::write(socket_, asio::buffer(text), ignored);
    }
    // All that comes until the other side closes.
    std::string read_to_end() {
        boost::system::error_code end;
        asio::read(socket_, asio::dynamic_buffer(received_), end);
        return std::exchange(received_, {});
    }
    // False when the other side has closed before so many bytes came.
    bool read_some(std::size_t bytes) {
        boost::system::error_code end;
        if (received_.size() < bytes)
            asio::read(socket_, asio::dynamic_buffer(received_),
                       asio::transfer_exactly(bytes - received_.size()), end);
        received_.erase(0, bytes);
        return !end;
    }
    std::string read_head() {
        boost::system::error_code end;
        const std::size_t length =
            asio::read_until(socket_, asio::dynamic_buffer(received_), "\r\n\r\n", end);
        std::string head = received_.substr(0, length);
        received_.erase(0, length);
        return head;
    }

private:
    asio::io_context loop_;
    tcp::socket socket_{loop_};
    std::string received_;
};

class HttpServer : public testing::Test {
protected:
    ~HttpServer() override {
        if (thread_.joinable()) {
            asio::post(loop_, [this] {
                server_.reset();
                loop_.stop();
            });
            thread_.join();
        }
    }
    void start() {
        http_handlers handlers;
        handlers.begin = [this](const request& asked) -> request_verdict { return begin(asked); };
        handlers.accept = [this](const request&) -> std::variant<reply, std::shared_ptr<event_source>> {
            return source;
        };
        handlers.problem = [](unsigned status, const std::string& sentence) {
            reply answer;
            answer.status = status;
            answer.body = shared(sentence);
            return answer;
        };
        handlers.tell = [](const std::string&) {};
        server_ = std::make_unique<http_server>(loop_, handlers, limits);
        ASSERT_EQ(server_->listen("127.0.0.1", 0), "");
        port = server_->port(0);
        thread_ = std::thread([this] { loop_.run(); });
    }
    request_verdict begin(const request& asked) {
        if (asked.path == "/refused") {
            reply answer;
            answer.status = 403;
            return answer;
        }
        return accepted_request{
            1000, [this, path = asked.path](const std::string& body, const answer_function& answer) {
                if (path == "/never") {
                    kept = answer;
                    return;
                }
                reply said;
                said.body = path == "/large" ? large : shared(body.empty() ? path : body);
                if (path == "/later")
                    said.delay = milliseconds(20);
                answer(said);
            }};
    }
    static std::string get(const std::string& path, const std::string& fields = "") {
        return "GET " + path + " HTTP/1.1\r\nHost: a\r\n" + fields + "\r\n";
    }
    static std::string upgrade() {
        return get("/events", "Upgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Version: 13\r\n"
                              "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n");
    }
    // On the loop's thread.
    std::size_t connections() {
        std::promise<std::size_t> count;
        asio::post(loop_, [&] { count.set_value(server_->connections()); });
        return count.get_future().get();
    }

    http_limits limits;
    std::shared_ptr<event_source> source;
    std::shared_ptr<const std::string> large = shared(std::string(16777216, 'x'));
    answer_function kept;
    unsigned short port = 0;
    asio::io_context loop_{1};
    std::unique_ptr<http_server> server_;
    std::thread thread_;
};

TEST_F(HttpServer, AnswersAndKeepsTheConnection) {
    start();
    client asking(port);
    asking.send(get("/one") + get("/later") + get("/three", "Connection: close\r\n"));
    const std::string answers = asking.read_to_end();
    EXPECT_LT(answers.find("/one"), answers.find("/later"));
    EXPECT_LT(answers.find("/later"), answers.find("/three"));
    EXPECT_NE(answers.find("/three"), std::string::npos);
}

TEST_F(HttpServer, WaitingConnectionIsClosedInItsTime) {
    limits.idle = limits.look = milliseconds(1);
    start();
    EXPECT_EQ(client(port).read_to_end(), "");
}

TEST_F(HttpServer, HandlerThatNeverAnswersCostsTheConnection) {
    limits.answering = limits.look = milliseconds(1);
    start();
    client asking(port);
    asking.send(get("/never"));
    EXPECT_EQ(asking.read_to_end(), "");
    asio::post(loop_, [this] { kept({}); }); // too late, and harmless
    EXPECT_TRUE(becomes_true([this] { return connections() == 0; }));
}

TEST_F(HttpServer, AnswerThatNobodyReadsIsCut) {
    limits.write_pause = limits.look = milliseconds(1);
    start();
    client asking(port, 2048);
    asking.send(get("/large"));
    EXPECT_TRUE(becomes_true([this] { return connections() == 0; }));
    EXPECT_LT(asking.read_to_end().size(), large->size());
}

TEST_F(HttpServer, AnswerThatIsReadTooSlowlyIsCut) {
    limits.write = limits.look = milliseconds(1);
    start();
    client asking(port, 2048);
    asking.send(get("/large"));
    EXPECT_TRUE(becomes_true([this] { return connections() == 0; }));
    EXPECT_LT(asking.read_to_end().size(), large->size());
}

TEST_F(HttpServer, BodiesThatWaitForTheirRestAreBounded) {
    limits.bodies_bytes = 600;
    start();
    const std::string head = "POST /a HTTP/1.1\r\nHost: a\r\nContent-Length: ";
    client unfinished(port);
    unfinished.send(head + "1000\r\n\r\n" + std::string(700, 'x'));
    EXPECT_NE(unfinished.read_head().find(" 503 "), std::string::npos);
    client whole(port); // what the other one had is given back
    whole.send(head + "1000\r\n\r\n" + std::string(500, 'x'));
    whole.send(std::string(500, 'x'));
    EXPECT_NE(whole.read_head().find(" 200 "), std::string::npos);
}

TEST_F(HttpServer, RefusedPeerThatGoesOnIsCutInTheEnd) {
    limits.linger = limits.look = milliseconds(1);
    start();
    client asking(port);
    asking.send("POST /refused HTTP/1.1\r\nHost: a\r\nContent-Length: 1000\r\n\r\n");
    EXPECT_NE(asking.read_head().find(" 403 "), std::string::npos);
    EXPECT_TRUE(becomes_true([this] { return connections() == 0; }));
}

TEST_F(HttpServer, ReaderOfEventsThatDoesNotReadIsCut) {
    limits.silence = milliseconds(100);
    limits.look = milliseconds(1);
    const auto endless = std::make_shared<endless_source>();
    source = endless;
    start();
    client reading(port, 2048);
    reading.send(upgrade());
    EXPECT_TRUE(becomes_true([&] { return endless->has_ended.load(); }));
    EXPECT_TRUE(becomes_true([this] { return connections() == 0; }));
}

// Its pongs are far behind what it has not read yet, and each text takes it longer than the silent have.
TEST_F(HttpServer, ReaderThatReadsSlowlyIsNotCut) {
    limits.silence = milliseconds(3000);
    const auto endless = std::make_shared<endless_source>();
    source = endless;
    start();
    client reading(port, 2048);
    reading.send(upgrade());
    const auto enough = std::chrono::steady_clock::now() + 3 * limits.silence;
    while (std::chrono::steady_clock::now() < enough) {
        ASSERT_TRUE(reading.read_some(512));
        std::this_thread::sleep_for(milliseconds(50)); // so slow is it
    }
    EXPECT_FALSE(endless->has_ended);
    EXPECT_EQ(connections(), 1U);
}

TEST_F(HttpServer, ReaderThatAnswersPingsIsNotCut) {
    limits.silence = milliseconds(3000);
    limits.look = milliseconds(10);
    const auto silent = std::make_shared<silent_source>();
    source = silent;
    start();
    client reading(port);
    reading.send(upgrade());
    EXPECT_NE(reading.read_head().find("101"), std::string::npos);
    for (int count = 0; count < 5; count++) { // more of them than fit into the time of the silent
        ASSERT_TRUE(reading.read_some(2));    // a ping: nothing else is said
        reading.send(std::string("\x8a\x80\0\0\0\0", 6));
    }
    EXPECT_FALSE(silent->has_ended);
}

TEST_F(HttpServer, AllAnswersNameTheSameServer) {
    source = std::make_shared<silent_source>();
    start();
    for (const std::string& asked : {get("/one"), upgrade(), std::string("nonsense\r\n\r\n")}) {
        client asking(port);
        asking.send(asked);
        EXPECT_NE(asking.read_head().find("Server: vrdx_gateway\r\n"), std::string::npos) << asked;
    }
}

TEST_F(HttpServer, ReaderThatAnswersNoPingIsCut) {
    limits.silence = milliseconds(20);
    const auto silent = std::make_shared<silent_source>();
    source = silent;
    start();
    client reading(port);
    reading.send(upgrade());
    EXPECT_NE(reading.read_to_end().find("101"), std::string::npos);
    EXPECT_TRUE(becomes_true([&] { return silent->has_ended.load(); }));
}

TEST_F(HttpServer, ReaderThatSendsTooMuchIsTold) {
    limits.client_window = limits.look = milliseconds(1);
    limits.client_bytes_per_window = 100;
    source = std::make_shared<silent_source>();
    start();
    client reading(port);
    reading.send(upgrade());
    reading.read_head();
    std::string pings;
    for (int count = 0; count < 1000; count++)
        pings += std::string("\x89\x80\0\0\0\0", 6);
    reading.send(pings);
    const std::string end = reading.read_to_end();
    EXPECT_NE(end.find("nothing to say"), std::string::npos) << testing::PrintToString(end);
}

TEST_F(HttpServer, StopEndsWhoWaitsAtOnceAndAnswersWhoAsked) {
    start();
    client waiting(port), asking(port);
    asking.send(get("/never"));
    EXPECT_TRUE(becomes_true([this] {
        std::promise<bool> asked;
        asio::post(loop_, [&] { asked.set_value(kept != nullptr); });
        return asked.get_future().get();
    }));
    std::promise<void> stopped;
    asio::post(loop_, [&] { server_->stop([&] { stopped.set_value(); }); });
    EXPECT_EQ(waiting.read_to_end(), "");
    asio::post(loop_, [this] {
        reply said;
        said.body = shared("at last");
        kept(said);
    });
    EXPECT_NE(asking.read_to_end().find("at last"), std::string::npos);
    stopped.get_future().wait();
}

TEST_F(HttpServer, AddressesThatCannotBeListenedOnAreTold) {
    start();
    asio::io_context other_loop;
    http_server second(other_loop, {}, limits);
    EXPECT_NE(second.listen("127.0.0.1", port), "");
    EXPECT_NE(second.listen("somewhere", 0), "");
    EXPECT_NE(second.read_tls_files({"/nowhere.pem", "/nowhere.key"}).find("/nowhere.pem"),
              std::string::npos);
}

} // namespace
} // namespace gateway
