// The trace in the item's log file.
#include "finished_driver.h"
#include "test_client.h"
#include "test_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr std::size_t full_log_bytes = 16777216;

} // namespace

TEST(LogFile, TakesTheWholeTraceAndIsAppendedTo) {
    const temporary_directory directory;
    write_file(directory.file("item"), "");
    const driver_setup setup{.item = directory.file("item"), .switches = {"--stderr-to-log", "--oneshot"}};
    const finished_driver first = run_to_end(setup);
    EXPECT_EQ(first.end, ends_well);
    EXPECT_EQ(first.trace, "");
    const std::string log = read_file(directory.file(".tavrixlog.item"));
    EXPECT_EQ(without_address(log), item_setting(directory.path()) + "Nothing more to run\n" +
                                        std::string(empty_metadata_state) + "Oneshot\n" +
                                        std::string(shutdown_report));
    EXPECT_EQ(run_to_end(setup).end, ends_well);
    const std::string longer = read_file(directory.file(".tavrixlog.item"));
    EXPECT_THAT(longer, StartsWith(log));
    EXPECT_EQ(without_address(longer.substr(log.size())), without_address(log));
}

TEST(LogFile, LiesInTheMetadataDirectory) {
    const temporary_directory directory;
    const temporary_directory metadata;
    write_file(directory.file("item"), "");
    const finished_driver driver =
        run_to_end({.item = directory.file("item"),
                    .switches = {"--stderr-to-log", "--oneshot", "--metadir", metadata.path()}});
    EXPECT_EQ(driver.end, ends_well);
    EXPECT_THAT(read_file(metadata.file(".tavrixlog.item")), HasSubstr("Oneshot\n"));
    EXPECT_FALSE(file_exists(directory.file(".tavrixlog.item")));
}

TEST(LogFile, ReceivesTheBackendsLines) {
    const temporary_directory directory;
    driver_process driver(driver_setup{.item = write_scripted_item(directory, {"log <WARN>disk low"}),
                                       .switches = {"--stderr-to-log"}});
    wait_until("the line is in the log", [&] {
        return file_exists(directory.file(".tavrixlog.item")) &&
               read_file(directory.file(".tavrixlog.item")).find("STDERR<WARN>: 'disk low'\n") !=
                   std::string::npos;
    });
    EXPECT_EQ(driver.stop(), ends_well);
}

TEST(LogFile, IsTurnedOverWhenItIsFull) {
    const temporary_directory directory;
    write_file(directory.file("item"), "");
    const std::string log = directory.file(".tavrixlog.item");
    write_file(log, std::string(full_log_bytes, 'x'));
    driver_process driver(driver_setup{.item = directory.file("item"), .switches = {"--stderr-to-log"}});
    wait_until("a new log begins", [&] { return file_exists(log + ".1") && file_exists(log); });
    EXPECT_EQ(driver.stop(), ends_well);
    EXPECT_GE(read_file(log + ".1").size(), full_log_bytes);
    EXPECT_THAT(read_file(log), HasSubstr("Cleaning up\n"));
}

TEST(LogFile, NeverFollowsALink) {
    const temporary_directory directory;
    write_file(directory.file("item"), "");
    write_file(directory.file("precious"), "untouched");
    ASSERT_EQ(symlink(directory.file("precious").c_str(), directory.file(".tavrixlog.item").c_str()), 0);
    const finished_driver driver =
        run_to_end({.item = directory.file("item"), .switches = {"--stderr-to-log", "--oneshot"}});
    EXPECT_EQ(driver.end, refuses);
    EXPECT_EQ(driver.trace, "Failed to redirect stderr\n");
    EXPECT_EQ(read_file(directory.file("precious")), "untouched");
}
