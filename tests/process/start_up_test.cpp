// From the command line to the loop: the item's kinds, the order of what is said, and the ends before the
// loop.
#include "finished_driver.h"
#include "test_client.h"
#include "test_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* no_params = "Failed to obtain derived params\n";

finished_driver start_with(const std::string& item, std::vector<std::string> switches) {
    return run_to_end({.item = item, .switches = std::move(switches)});
}

// `trace` without what the backend said; it may or may not get to it within one pass.
std::string without_backend_lines(const std::string& trace) {
    std::string kept;
    std::istringstream stream(trace);
    for (std::string line; std::getline(stream, line);)
        if (!line.starts_with("STDOUT: '") && !line.starts_with("STDERR<"))
            kept += line + "\n";
    return kept;
}

// One pass over an item of this content.
std::string oneshot_trace(const std::string& content) {
    const temporary_directory directory;
    write_file(directory.file("item"), content);
    const finished_driver driver = start_with(directory.file("item"), {"--oneshot"});
    EXPECT_EQ(driver.end, ends_well) << driver.trace;
    const std::string before = item_setting(directory.path());
    EXPECT_THAT(driver.trace, StartsWith(before));
    const std::string pass = driver.trace.substr(std::min(before.size(), driver.trace.size()));
    return without_address(without_backend_lines(pass));
}

std::string pass_without_backend() {
    return "Nothing more to run\n" + std::string(empty_metadata_state) + "Oneshot\n" +
           std::string(shutdown_report);
}

std::string pass_with_backend() {
    return "Driver changed\n" + std::string(empty_metadata_state) + "Oneshot\n" +
           std::string(shutdown_report) + "Stopping backend\n";
}

// A socket as a crash leaves it: the name is there, nobody listens.
void leave_stale_socket(const std::string& path) {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    ASSERT_EQ(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    close(fd);
}

} // namespace

TEST(StartUp, OneshotMakesOnePassAndSaysAllInOrder) {
    EXPECT_EQ(oneshot_trace(""), pass_without_backend());
}

TEST(StartUp, OneshotStartsTheBackendAndStopsIt) {
    EXPECT_EQ(oneshot_trace("driver=route_simulator\n"), pass_with_backend());
}

TEST(StartUp, OnlyAPlainRouteNameNamesABackend) {
    for (const char* content : {"driver=../route_x\n", "driver=route_x.sh\n", "driver=route_/../x\n",
                                "driver=x\n", "driver=route\n", "driver=Route_x\n", "Driver=route_x\n",
                                "driver route_x\n", "=route_x\n", "other=1\n", "\n\n\n"})
        EXPECT_EQ(oneshot_trace(content), pass_without_backend()) << content;
}

TEST(StartUp, LineEndsOfEveryKindAreUnderstood) {
    for (const char* content : {"driver=route_simulator", "driver=route_simulator\r\n",
                                "\r\n\r\ndriver = route_simulator \r\nstay resident=1\r\n",
                                "driver=route_other\ndriver=route_simulator"})
        EXPECT_EQ(oneshot_trace(content), pass_with_backend()) << content;
}

TEST(StartUp, LineOfAMebibyteHidesNothingBehindIt) {
    EXPECT_EQ(oneshot_trace(std::string(1048576, 'x') + "\ndriver=route_simulator\n"), pass_with_backend());
    EXPECT_EQ(oneshot_trace(std::string(1048576, 'x')), pass_without_backend());
    EXPECT_EQ(oneshot_trace("name=" + std::string(1048576, '=') + "\ndriver=route_simulator"),
              pass_with_backend());
}

TEST(StartUp, BinaryItemIsReadToItsEnd) {
    std::string bytes;
    for (int round = 0; round < 16; ++round)
        for (int byte = 0; byte < 256; ++byte)
            bytes += static_cast<char>((byte * 37 + round) & 255);
    EXPECT_EQ(oneshot_trace(bytes), pass_without_backend());
    EXPECT_EQ(oneshot_trace(bytes + "\ndriver=route_simulator\n"), pass_with_backend());
}

TEST(StartUp, MissingItemIsRefused) {
    const temporary_directory directory;
    for (const std::string& item : {directory.file("none"), directory.file("none/none")}) {
        const finished_driver driver = start_with(item, {});
        EXPECT_EQ(driver.end, refuses);
        EXPECT_EQ(driver.trace,
                  "Cannot open item file " + item + ": No such file or directory\n" + no_params);
    }
    EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

TEST(StartUp, ItemPathWithoutANameIsRefused) {
    const temporary_directory directory;
    const finished_driver driver = start_with(directory.path() + "/", {});
    EXPECT_EQ(driver.end, refuses);
    EXPECT_EQ(driver.trace, "Item file " + directory.path() + "/ has no name\n" + no_params);
}

TEST(StartUp, DirectoryAsItemIsRefused) {
    const temporary_directory directory;
    ASSERT_EQ(mkdir(directory.file("item").c_str(), 0700), 0);
    const finished_driver driver = start_with(directory.file("item"), {});
    EXPECT_EQ(driver.end, refuses);
    EXPECT_THAT(driver.trace, HasSubstr("Item file " + directory.file("item") + " is no regular file\n"));
    EXPECT_FALSE(file_exists(directory.file(".tavrixsock.item")));
}

TEST(StartUp, FifoAsItemIsRefusedWithoutWaitingForAWriter) {
    const temporary_directory directory;
    ASSERT_EQ(mkfifo(directory.file("item").c_str(), 0600), 0);
    const finished_driver driver = start_with(directory.file("item"), {});
    EXPECT_EQ(driver.end, refuses);
    EXPECT_THAT(driver.trace, HasSubstr("Item file " + directory.file("item") + " is no regular file\n"));
    EXPECT_FALSE(file_exists(directory.file(".tavrixsock.item")));
}

TEST(StartUp, SocketPlaceTakenByAFileIsRefusedAndTheFileStays) {
    const temporary_directory directory;
    write_file(directory.file("item"), "");
    write_file(directory.file(".tavrixsock.item"), "precious");
    const finished_driver driver = start_with(directory.file("item"), {});
    EXPECT_EQ(driver.end, refuses);
    EXPECT_EQ(driver.trace, "Socket path " + directory.file(".tavrixsock.item") +
                                " is taken by something that is no socket\n" + no_params);
    EXPECT_EQ(read_file(directory.file(".tavrixsock.item")), "precious");
}

TEST(StartUp, LogThatCannotBeOpenedIsRefused) {
    const temporary_directory directory;
    write_file(directory.file("item"), "");
    ASSERT_EQ(mkdir(directory.file(".tavrixlog.item").c_str(), 0700), 0);
    const finished_driver driver = start_with(directory.file("item"), {"--stderr-to-log"});
    EXPECT_EQ(driver.end, refuses);
    EXPECT_EQ(driver.trace, "Failed to redirect stderr\n");
    EXPECT_FALSE(file_exists(directory.file(".tavrixsock.item")));
}

TEST(StartUp, IdentifyOnlyEndsAfterTheMetadataAndServesNoSocket) {
    const temporary_directory directory;
    write_file(directory.file("item"), "driver=route_simulator\n");
    const finished_driver driver = start_with(directory.file("item"), {"--identify-only"});
    EXPECT_EQ(driver.end, ends_well);
    EXPECT_EQ(driver.trace,
              item_setting(directory.path()) + "Driver changed\n" + std::string(empty_metadata_state));
    EXPECT_FALSE(file_exists(directory.file(".tavrixsock.item")));
    EXPECT_FALSE(file_exists(directory.file(".tavrixmeta.item")));
}

TEST(StartUp, IdentifyOnlyWorksBesideALiveDriver) {
    const temporary_directory directory;
    write_file(directory.file("item"), "");
    driver_process live(directory.file("item"));
    test_client client(live.socket_path());
    EXPECT_EQ(start_with(directory.file("item"), {"--identify-only"}).end, ends_well);
    EXPECT_EQ(client.request("ping").command, "ping");
    EXPECT_EQ(test_client(live.socket_path()).request("ping").command, "ping");
}

TEST(StartUp, MetadataIsWrittenBackWhenAsked) {
    const temporary_directory directory;
    write_file(directory.file("item"), "");
    write_file(directory.file(".tavrixmeta.item"),
               "duration=5\naudio=1\nvideo=1\n0:video=kept\ntitle=kept\n");
    const finished_driver driver =
        start_with(directory.file("item"), {"--identify-only", "--write-metadata"});
    EXPECT_EQ(driver.end, ends_well);
    EXPECT_EQ(driver.trace, item_setting(directory.path()) +
                                "Nothing more to run\n"
                                "Standard metadata: 5 lines, may update: yes, write back: yes\n"
                                "* Writing metadata back\n");
    const std::string metadata = "\n" + read_file(directory.file(".tavrixmeta.item"));
    EXPECT_THAT(metadata, HasSubstr("\n0:video=kept\n"));
    EXPECT_THAT(metadata, HasSubstr("\ntitle=kept\n"));
    EXPECT_THAT(metadata, HasSubstr("\ntime duration=140737488355327\n"));
    for (const char* stale : {"\nduration=", "\naudio=", "\nvideo="})
        EXPECT_THAT(metadata, testing::Not(HasSubstr(stale)));
}

TEST(StartUp, TempCleanOnlyRemovesAStaleSocketAndPrintsTheSettings) {
    const temporary_directory directory;
    write_file(directory.file("item"), "driver=route_simulator\n");
    leave_stale_socket(directory.file(".tavrixsock.item"));
    const finished_driver driver = start_with(directory.file("item"), {"--temp-clean-only"});
    EXPECT_EQ(driver.end, ends_well);
    EXPECT_EQ(driver.trace, item_setting(directory.path()));
    EXPECT_FALSE(file_exists(directory.file(".tavrixsock.item")));
}

TEST(StartUp, TempCleanOnlyLeavesALiveDriverItsSocket) {
    const temporary_directory directory;
    write_file(directory.file("item"), "");
    driver_process live(directory.file("item"));
    EXPECT_EQ(test_client(live.socket_path()).request("ping").command, "ping");
    const finished_driver driver = start_with(directory.file("item"), {"--temp-clean-only"});
    EXPECT_EQ(driver.end, ends_well);
    EXPECT_EQ(driver.trace, "Item is already served: a live driver answers on " + live.socket_path() + "\n" +
                                item_setting(directory.path()));
    EXPECT_EQ(test_client(live.socket_path()).request("ping").command, "ping");
}
