#include "cnb.h"

#include <gtest/gtest.h>
#include <string>

namespace {

class BufferDomain : public testing::Test {
protected:
    void SetUp() override {
        cnb_alloc_assign_single(-1, -1, 0);
    }
    void TearDown() override {
        cnb_alloc_assign_single(-1, -1, 0);
    }

    static std::string remaining() {
        testing::internal::CaptureStderr();
        cnb_alloc_print_remaining_buffers();
        return testing::internal::GetCapturedStderr();
    }
};

TEST_F(BufferDomain, HoldsNoneAtFirst) {
    EXPECT_EQ(remaining(), "none\n");
}

TEST_F(BufferDomain, ListsEachBufferHeld) {
    cnb_alloc_assign_single(9, 2, 4096);
    cnb_alloc_assign_single(8, 1, 8294400);
    EXPECT_EQ(remaining(), "buffer 1: descriptor 8, 8294400 bytes\nbuffer 2: descriptor 9, 4096 bytes\n");
}

TEST_F(BufferDomain, ListsABufferAssignedAnewOnce) {
    cnb_alloc_assign_single(8, 1, 4096);
    cnb_alloc_assign_single(9, 1, 8192);
    EXPECT_EQ(remaining(), "buffer 1: descriptor 9, 8192 bytes\n");
}

TEST_F(BufferDomain, HoldsNoneAfterItWasTold) {
    cnb_alloc_assign_single(8, 1, 4096);
    cnb_alloc_assign_single(-1, -1, 0);
    EXPECT_EQ(remaining(), "none\n");
}

} // namespace
