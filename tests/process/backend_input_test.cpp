// What a backend writes: its log lines and its reports.
#include "finished_driver.h"
#include "test_client.h"
#include "test_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

// The lines of `trace` that begin with `start`.
std::vector<std::string> lines_with(const std::string& trace, const std::string& start) {
    std::vector<std::string> lines;
    std::istringstream stream(trace);
    for (std::string line; std::getline(stream, line);)
        if (line.starts_with(start))
            lines.push_back(line);
    return lines;
}

std::string trace_line(const std::string& text) {
    return "STDOUT: '" + text + "'";
}

// A small router, complete with names and routing.
constexpr const char* whole_report = "*COMMAND=info\n*TYPE=message\ninputs=3\noutputs=2\n\n"
                                     "*COMMAND=inputs\n*TYPE=message\ni0.name=Camera\ni2.name=Clock\n\n"
                                     "*COMMAND=outputs\n*TYPE=message\no0.name=Program\no0.input.all=2\n"
                                     "o1.input.audio=0\no1.input.video=1\n\n";

void expect_whole_report(test_client& client) {
    wait_for_status(client, "output 2", "1,2");
    const test_reply status = client.status();
    EXPECT_EQ(status.entry("in points"), "3");
    EXPECT_EQ(status.entry("out points"), "2");
    EXPECT_EQ(status.entry("input.name 1"), "Camera");
    EXPECT_EQ(status.entry("input.name 2"), "");
    EXPECT_EQ(status.entry("input.name 3"), "Clock");
    EXPECT_EQ(status.entry("output.name 1"), "Program");
    EXPECT_EQ(status.entry("output 1"), "3,3");
}

} // namespace

TEST(BackendLog, OfAnErrorTooLongForAReplyTheEndIsShown) {
    const temporary_directory directory;
    const std::string go = directory.file("go");
    driver_process driver(
        write_scripted_item(directory, join({{"long-line stderr 2000000", "log end", "wait-for-file " + go},
                                             script(30, "log <ERR>short"),
                                             {"log <NOTE>end"}})));
    test_client client(driver.socket_path());
    driver.wait_for_trace("STDERR<ERR>: 'end'\n");
    const test_reply cut = client.request("report");
    EXPECT_EQ(cut.command, "report");
    EXPECT_GT(cut.entry("*last error").size(), 1000000U);
    EXPECT_TRUE(cut.entry("*last error").ends_with("\nend"));
    EXPECT_EQ(client.status().command, "status");
    write_file(go, "");
    driver.wait_for_trace("STDERR<NOTE>: 'end'\n");
    EXPECT_EQ(client.request("report").command, "report");
}

TEST(BackendLog, CarriageReturnsAndNulBytesAndUnendedLines) {
    const temporary_directory directory;
    using namespace std::string_literals;
    const std::string bytes = "<NOTE>a\r\r\n\r\n<NO"s + "\r" + "TE>n\0ul\n<NOTE>unended"s;
    driver_process driver(write_scripted_item(directory, {"raw stderr " + to_hex(bytes)}));
    driver.wait_for_trace("STDERR<NOTE>: 'a'\nSTDERR<ERR>: ''\nSTDERR<NOTE>: 'n\0ul'\n"s);
    EXPECT_EQ(driver.stop(), ends_well);
    EXPECT_THAT(driver.whole_trace(), testing::Not(HasSubstr("unended")));
}

TEST(BackendLog, LineInDropsIsOneLine) {
    const temporary_directory directory;
    driver_process driver(write_scripted_item(directory, {"drip stderr " + to_hex("<WARN>disk low\nend\n")}));
    driver.wait_for_trace("STDERR<ERR>: 'end'\n");
    EXPECT_THAT(lines_with(driver.trace(), "STDERR"),
                ElementsAre("STDERR<WARN>: 'disk low'", "STDERR<ERR>: 'end'"));
}

TEST(BackendReport, EveryLineIsTracedAndBlankOnesToo) {
    const temporary_directory directory;
    using namespace std::string_literals;
    const std::string bytes = "a\r\nb\n\n\r\nn\0ul\n  \n'quoted'\nend\n"s;
    driver_process driver(write_scripted_item(directory, {"raw stdout " + to_hex(bytes)}));
    driver.wait_for_trace(trace_line("end") + "\n");
    EXPECT_THAT(lines_with(driver.trace(), "STDOUT"),
                ElementsAre(trace_line("a"), trace_line("b"), trace_line(""), trace_line(""),
                            trace_line("n\0ul"s), trace_line("  "), trace_line("'quoted'"),
                            trace_line("end")));
}

TEST(BackendReport, ArrivesInOnePieceOrCutAtEveryByte) {
    for (const char* way : {"raw", "drip"}) {
        const temporary_directory directory;
        driver_process driver(
            write_scripted_item(directory, {std::string(way) + " stdout " + to_hex(whole_report)}));
        test_client client(driver.socket_path());
        expect_whole_report(client);
        EXPECT_EQ(driver.stop(), ends_well);
    }
}

TEST(BackendReport, ComesThroughBinaryRubbish) {
    const temporary_directory directory;
    std::string rubbish;
    for (int i = 0; i < 20000; ++i)
        rubbish += static_cast<char>((i * 7919 + i / 251) & 255);
    driver_process driver(
        write_scripted_item(directory, {"raw stdout " + to_hex(rubbish + "\n\n" + whole_report),
                                        "raw stderr " + to_hex(rubbish)}));
    test_client client(driver.socket_path());
    expect_whole_report(client);
    EXPECT_EQ(driver.stop(), ends_well);
}

TEST(BackendReport, CutOffByARestartIsCompletedByTheSuccessor) {
    const temporary_directory directory;
    const std::string item =
        write_scripted_item(directory, {"say *COMMAND=info", "say *TYPE=message", "say inputs=9",
                                        "wait-for-file " + directory.file("go"), "exit 0"});
    driver_process driver(item);
    test_client client(driver.socket_path());
    driver.wait_for_trace(trace_line("inputs=9") + "\n");
    write_script(directory.file("script"), {"say outputs=4", "blank"});
    write_file(directory.file("go"), "");
    wait_for_status(client, "out points", "4");
    EXPECT_EQ(client.status().entry("in points"), "9");
}
