#include "reconnect_delay.h"

#include <gtest/gtest.h>

TEST(ReconnectDelay, DoublesFromHalfASecondToTenSeconds) {
    reconnect_delay delay;
    for (const std::uint64_t expected :
         {500000U, 1000000U, 2000000U, 4000000U, 8000000U, 10000000U, 10000000U}) {
        EXPECT_EQ(next_reconnect_delay(delay, 0), expected);
    }
}

TEST(ReconnectDelay, ChanceShortensByAQuarterAtTheMost) {
    reconnect_delay delay;
    EXPECT_EQ(next_reconnect_delay(delay, 1), 375000U);
    EXPECT_EQ(next_reconnect_delay(delay, 0.5), 875000U);
    EXPECT_EQ(next_reconnect_delay(delay, 7), 1500000U);
    EXPECT_EQ(next_reconnect_delay(delay, -7), 4000000U);
}

TEST(ReconnectDelay, DoublingGoesOnFromTheNominalWait) {
    reconnect_delay delay;
    next_reconnect_delay(delay, 1);
    EXPECT_EQ(next_reconnect_delay(delay, 0), 1000000U);
}

TEST(ReconnectDelay, ResetBeginsAnew) {
    reconnect_delay delay;
    next_reconnect_delay(delay, 0);
    next_reconnect_delay(delay, 0);
    reset_reconnect_delay(delay);
    EXPECT_EQ(next_reconnect_delay(delay, 0), 500000U);
}

TEST(ReconnectDelay, FirstWaitBeyondTheLongestIsCutDown) {
    reconnect_delay delay;
    delay.first_us = 50;
    delay.longest_us = 20;
    EXPECT_EQ(next_reconnect_delay(delay, 0), 20U);
}
