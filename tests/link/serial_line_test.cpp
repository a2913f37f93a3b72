// A serial line, played by a pseudo-terminal.
#include "serial_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <stdlib.h>
#include <string_view>
#include <termios.h>
#include <unistd.h>

using testing::HasSubstr;

namespace {

class SerialLine : public testing::Test {
protected:
    void SetUp() override {
        router = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (router < 0) {
            GTEST_SKIP() << "no pseudo-terminals here";
        }
        ASSERT_EQ(grantpt(router), 0);
        ASSERT_EQ(unlockpt(router), 0);
        char name[128];
        ASSERT_EQ(ptsname_r(router, name, sizeof name), 0);
        device = name;
    }

    void TearDown() override {
        if (router >= 0) {
            close(router);
        }
        if (line >= 0) {
            close(line);
        }
    }

    int open_line(int baud = 9600) {
        failure.clear();
        return open_serial_line(device, baud, &failure);
    }

    int router = -1;
    int line = -1;
    std::string device;
    std::string failure;
};

} // namespace

TEST_F(SerialLine, IsRawWithEightBitsAndNoParity) {
    line = open_line(115200);
    ASSERT_GE(line, 0) << failure;
    termios found = {};
    ASSERT_EQ(tcgetattr(line, &found), 0);
    EXPECT_EQ(cfgetispeed(&found), static_cast<speed_t>(B115200));
    EXPECT_EQ(cfgetospeed(&found), static_cast<speed_t>(B115200));
    EXPECT_EQ(found.c_cflag & static_cast<tcflag_t>(CSIZE | PARENB | CSTOPB | CRTSCTS),
              static_cast<tcflag_t>(CS8));
    EXPECT_EQ(found.c_lflag & static_cast<tcflag_t>(ICANON | ECHO | ISIG), 0U);
    EXPECT_EQ(found.c_oflag & static_cast<tcflag_t>(OPOST), 0U);
}

TEST_F(SerialLine, NeverBlocksAndPassesEveryByte) {
    line = open_line();
    ASSERT_GE(line, 0) << failure;
    char bytes[16];
    EXPECT_EQ(read(line, bytes, sizeof bytes), -1);
    EXPECT_EQ(errno, EAGAIN);
    const std::string_view text("**\r\n\x03\x11\x13!!", 9);
    ASSERT_EQ(write(line, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    ASSERT_EQ(read(router, bytes, sizeof bytes), static_cast<ssize_t>(text.size()));
    EXPECT_EQ(std::string_view(bytes, text.size()), text);
}

TEST_F(SerialLine, BelongsToOneProgram) {
    line = open_line();
    ASSERT_GE(line, 0) << failure;
    EXPECT_EQ(open_line(), -1);
    EXPECT_THAT(failure, HasSubstr("temporarily unavailable"));
    close(line);
    line = open_line();
    EXPECT_GE(line, 0) << failure;
}

TEST_F(SerialLine, WhatIsNoneIsNotOpened) {
    device = "/dev/null";
    EXPECT_EQ(open_line(), -1);
    EXPECT_THAT(failure, HasSubstr("Inappropriate ioctl"));
    device = "/dev/vrdx_no_such_line";
    EXPECT_EQ(open_line(), -1);
    EXPECT_THAT(failure, HasSubstr("No such file"));
}

TEST_F(SerialLine, HasOnlyTheSpeedsItKnows) {
    EXPECT_TRUE(is_serial_speed(9600));
    EXPECT_TRUE(is_serial_speed(115200));
    EXPECT_FALSE(is_serial_speed(0));
    EXPECT_FALSE(is_serial_speed(9601));
    EXPECT_EQ(open_line(9601), -1);
    EXPECT_THAT(failure, HasSubstr("9601 baud"));
}
