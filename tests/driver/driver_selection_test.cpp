#include "open_item.h"
#include "wired_backend.h"

using namespace std::string_literals;

namespace {

class DriverSelection : public open_item {
protected:
    void examine(const std::string& text) {
        open_with(text);
        ASSERT_EQ(examine_file(), 0);
    }
    static bool backend_runs() {
        return backend_pid >= 0;
    }
};

struct driver_row {
    const char* name;
    const char* driver;
    const char* program; // behind the prefix; empty: nothing to run
};

void PrintTo(const driver_row& row, std::ostream* stream) {
    *stream << row.name;
}

class NamedDriver : public DriverSelection, public testing::WithParamInterface<driver_row> {};

TEST_P(NamedDriver, DecidesTheProgram) {
    const std::string program = GetParam().program;
    examine("driver="s + GetParam().driver + "\n");
    EXPECT_EQ(backend_path, program.empty() ? "" : VRDX_BACKEND_PREFIX + program);
    EXPECT_EQ(trace(), program.empty() ? "Nothing more to run\n" : "Driver changed\n");
}

INSTANTIATE_TEST_SUITE_P(
    DriverSelection, NamedDriver,
    testing::Values(driver_row{"OfARoute", "route_x", "route_x"},
                    driver_row{"ThePrefixAlone", "route_", "route_"},
                    driver_row{"WithBlank", "route_x y", "route_x y"}, driver_row{"WithoutPrefix", "x", ""},
                    driver_row{"ShorterThanThePrefix", "route", ""}, driver_row{"OfOtherCase", "Route_x", ""},
                    driver_row{"Empty", "", ""}, driver_row{"OutOfTheDirectory", "../route_x", ""},
                    driver_row{"InADirectory", "route_a/b", ""}, driver_row{"UpAndOut", "route_/../x", ""},
                    driver_row{"WithAnExtension", "route_x.sh", ""},
                    driver_row{"WithADotAtTheEnd", "route_x.", ""},
                    driver_row{"ByItsOldName", "sierra_video_aspen_hdsdi", "route_sierra_video_aspen_hdsdi"},
                    driver_row{"ByANameLikeTheOldOne", "sierra_video_aspen_hdsdi2", ""},
                    driver_row{"ByTheOldNameInOtherCase", "Sierra_video_aspen_hdsdi", ""}),
    [](const auto& instance) { return instance.param.name; });

TEST_F(DriverSelection, NoDriverLineRunsNothing) {
    examine("stay resident=1\n");
    EXPECT_EQ(trace(), "Nothing more to run\n");
    EXPECT_EQ(backend_path, "");
}

TEST_F(DriverSelection, SameDriverAgainKeepsTheBackend) {
    examine("driver=route_x\n");
    const wired_backend backend;
    trace();
    examine("driver=route_x\nstay resident=1\n");
    EXPECT_TRUE(backend_runs());
    EXPECT_EQ(trace(), "");
}

TEST_F(DriverSelection, OtherDriverStopsTheBackend) {
    examine("driver=route_x\n");
    const wired_backend backend;
    trace();
    examine("driver=route_y\n");
    EXPECT_FALSE(backend_runs());
    EXPECT_EQ(backend_path, VRDX_BACKEND_PREFIX "route_y");
    EXPECT_EQ(trace(), "Driver changed\nStopping backend\n");
}

TEST_F(DriverSelection, DriverNamedLongerStopsTheBackend) {
    examine("driver=route_x\n");
    const wired_backend backend;
    examine("driver=route_x2\n");
    EXPECT_FALSE(backend_runs());
}

TEST_F(DriverSelection, UnusableDriverStopsTheBackend) {
    examine("driver=route_x\n");
    const wired_backend backend;
    trace();
    examine("driver=../route_x\n");
    EXPECT_FALSE(backend_runs());
    EXPECT_EQ(backend_path, "");
    EXPECT_EQ(trace(), "Nothing more to run\nStopping backend\n");
}

TEST_F(DriverSelection, UnusableDriverIsToldAtEachExamination) {
    examine("driver=x\n");
    examine("driver=x\n");
    EXPECT_EQ(trace(), "Nothing more to run\nNothing more to run\n");
}

TEST_F(DriverSelection, DriverLineTakenAwayKeepsTheBackend) {
    examine("driver=route_x\n");
    const wired_backend backend;
    trace();
    examine("");
    EXPECT_TRUE(backend_runs());
    EXPECT_EQ(backend_path, VRDX_BACKEND_PREFIX "route_x");
    EXPECT_EQ(trace(), "");
}

TEST_F(DriverSelection, OldNameAgainKeepsTheBackend) {
    examine("driver=sierra_video_aspen_hdsdi\n");
    EXPECT_EQ(driver_name, "route_sierra_video_aspen_hdsdi");
    const wired_backend backend;
    trace();
    examine("driver=sierra_video_aspen_hdsdi\n");
    EXPECT_TRUE(backend_runs());
    EXPECT_EQ(trace(), "");
}

TEST_F(DriverSelection, DriverComesBackAfterNothingRan) {
    examine("driver=x\n");
    trace();
    examine("driver=route_x\n");
    EXPECT_EQ(trace(), "Driver changed\n");
    EXPECT_EQ(backend_path, VRDX_BACKEND_PREFIX "route_x");
}

} // namespace
