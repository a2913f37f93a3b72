#include "gateway/audit/journal.h"

#include "history_fixture.h"

#include <array>
#include <cstdio>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace gateway;

namespace {

// A journal's socket that a test reads.
class Journal : public testing::Test {
protected:
    temporary_directory directory;
    const std::string path = directory.file("socket");
    int socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);

    void SetUp() override {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        ASSERT_EQ(bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }
    void TearDown() override {
        close(socket_);
    }
    // One datagram; empty when there is none.
    std::string read() const {
        std::array<char, 65536> bytes{};
        const ssize_t got = recv(socket_, bytes.data(), bytes.size(), 0);
        return got < 0 ? "" : std::string(bytes.data(), static_cast<std::size_t>(got));
    }
};

} // namespace

TEST_F(Journal, GetsALineAndAFieldForEachThing) {
    history_entry entry = take_entry("studio", 3, 7);
    entry.before = "1";
    entry.after = "2";
    entry.address = "192.0.2.1";
    journal(path).tell(entry);
    EXPECT_EQ(read(), "MESSAGE=take of studio output 3 by desk: \"1\" to \"2\": confirmed\n"
                      "PRIORITY=6\nSYSLOG_IDENTIFIER=vrdx_gateway\nVRDX_KIND=take\nVRDX_ROUTER=studio\n"
                      "VRDX_OUTPUT=3\nVRDX_BY=desk\nVRDX_THROUGH=gateway\nVRDX_ADDRESS=192.0.2.1\n"
                      "VRDX_BEFORE=1\nVRDX_AFTER=2\nVRDX_RESULT=confirmed\n"
                      "VRDX_TIME_US=1700000000000007\nVRDX_EPOCH=00112233445566aa\nVRDX_NUMBER=7\n");
}

TEST_F(Journal, TextWithALineEndIsNoFurtherField) {
    history_entry entry;
    entry.kind = entry_kind::name;
    entry.after = "x\nVRDX_BY=admin";
    journal(path).tell(entry);
    const std::string told = read();
    const std::string length("\x0f\0\0\0\0\0\0\0", 8);
    EXPECT_NE(told.find("\nVRDX_AFTER\n" + length + "x\nVRDX_BY=admin\n"), std::string::npos) << told;
    EXPECT_NE(told.find("MESSAGE=name: \"\" to \"x?VRDX_BY=admin\"\n"), std::string::npos) << told;
}

TEST_F(Journal, ThatTakesNothingMoreHoldsNobodyUp) {
    journal one(path);
    history_entry entry = take_entry("studio", 1, 1);
    entry.reason = std::string(1000, 'x');
    for (int times = 0; times < 10000; ++times)
        one.tell(entry);
    int told = 0;
    while (!read().empty())
        ++told;
    EXPECT_GT(told, 0);
    EXPECT_LT(told, 10000);
}

TEST_F(Journal, ThatFoundNoSocketSendsNothing) {
    const std::string later = directory.file("later");
    journal early(later), unnamed(""), too_long(std::string(1000, 'x'));
    ASSERT_EQ(rename(path.c_str(), later.c_str()), 0); // the socket that is read has that name now
    early.tell(take_entry("studio", 1, 1));
    unnamed.tell(take_entry("studio", 1, 1));
    too_long.tell(take_entry("studio", 1, 1));
    EXPECT_EQ(read(), "");
    journal(later).tell(take_entry("studio", 1, 1));
    EXPECT_NE(read(), "");
}
