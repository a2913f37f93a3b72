// Each state of a router x whatever may happen to it.
#include "played_driver.h"

#include <algorithm>
#include <map>
#include <ostream>
#include <unistd.h>

using gateway::router_state;

namespace {

// --- states ------------------------------------------------------------------------------------------------

// What the driver of each state does; that of `reading` never comes to an end, that of `doubted` always lies.
struct column {
    char letter;
    const char* name;
    router_state state;
};

void PrintTo(const column& before, std::ostream* out) {
    *out << before.name;
}

constexpr column columns[] = {
    {'N', "NoDriver", router_state::no_driver},
    {'R', "Reading", router_state::reading},
    {'U', "Up", router_state::up},
    {'L', "LinkDown", router_state::link_down},
    {'B', "NoBackend", router_state::no_backend},
    {'S', "Silent", router_state::stale},
    {'D', "Doubted", router_state::stale},
};

// --- events ------------------------------------------------------------------------------------------------

struct row {
    // The state it leads to, below the letter of the state before; '-': has no meaning there, '.': stays as
    // it was, 'G': gone.
    const char* leads_to;
    char on_the_way; // a state that is told before that; ' ': any
    const char* name;
    const char* because; // stands in the reason of that state, or else of the one that it leads to
};

void PrintTo(const row& event, std::ostream* out) {
    *out << event.name;
}

constexpr row rows[] = {
    // NRULBSD: was
    {"UUUUUUU", ' ', "ADriverStarts", ""},
    {"-RULBU-", 'N', "TheConnectionBreaks", "closed"},
    {"-NNNNNN", ' ', "TheDriverIsKilled", "nobody serves"},
    {"-NNNNNN", ' ', "TheDriverEndsInOrder", "there is no socket"},
    {"-SSSS--", ' ', "Silence", "has said nothing"},
    {"-----U-", ' ', "ASignOfLife", ""},
    {"-U-----", ' ', "TheRestOfThePicture", ""},
    {"--LLBL-", ' ', "TheLinkGoesDown", ""},
    {"--BBBB-", ' ', "TheBackendEnds", ""},
    {"--UUUU-", ' ', "AllComesUp", ""},
    {"--ULBU-", 'S', "AChangeIsMissing", "missing"},
    {"-SULBU-", 'S', "APacketOfAnotherStart", "another start"},
    {"-SULBU-", 'S', "AChangeWithoutNumbers", "cannot be read"},
    {"-SULBU-", 'S', "BytesThatAreNoPacket", "no driver"},
    {"-SULBU-", 'S', "AnErrorThatNobodyAskedFor", "out of places"},
    {"------U", ' ', "ItTellsTheTruthAgain", ""},
    {"G......", ' ', "TheItemIsRemoved", "Neither"},
    {"-.....N", ' ', "TheSocketIsRemoved", ""},
    {"GGGGGGG", ' ', "ItemAndSocketAreRemoved", "Neither"},
};

class LinkTable : public PlayedDriver, public testing::WithParamInterface<std::pair<row, column>> {
protected:
    std::size_t told_before = 0;

    void reach(char letter) {
        board->start();
        if (letter == 'N')
            return;
        start_driver();
        if (letter == 'R')
            driver->watch = [this] {
                const std::string whole = driver->whole_picture(3);
                std::size_t first = 0;
                comm_socket_v4_packet_frame(reinterpret_cast<const unsigned char*>(whole.data()),
                                            whole.size(), &first);
                return driver->watch_reply() + whole.substr(0, first);
            };
        if (letter == 'L')
            driver->link = "down";
        if (letter == 'B')
            driver->backend = "starting";
        if (letter == 'D')
            driver->watch = [] { return bytes_of("watch", {{"epoch", "no epoch"}}); };
        wait_for("the gateway watches", [&] { return driver->watchers() == 1; });
        if (letter == 'S') {
            wait_for_state("studio", router_state::up);
            clock_pushed_us += 8000000;
        }
    }

    void happen(const std::string& event) {
        const std::map<std::string, std::function<void()>> doings = {
            {"ADriverStarts", [this] { start_driver(second_epoch); }},
            {"TheConnectionBreaks", [this] { driver->close_connections(); }},
            {"TheDriverIsKilled", [this] { driver.reset(); }},
            {"TheDriverEndsInOrder", [this] { driver->leave(); }},
            {"Silence", [] { clock_pushed_us += 8000000; }},
            {"ASignOfLife",
             [this] {
                 driver->tell(bytes_of("alive", {{"epoch", driver->epoch}}));
             }},
            {"TheRestOfThePicture", [this] { driver->tell(driver->whole_picture()); }},
            {"TheLinkGoesDown",
             [this] {
                 driver->tell_change({{"link", "down"}});
             }},
            {"TheBackendEnds",
             [this] {
                 driver->tell_change({{"backend", "starting"}});
             }},
            {"AllComesUp",
             [this] {
                 driver->tell_change({{"backend", "running"}, {"link", "up"}});
             }},
            {"AChangeIsMissing",
             [this] {
                 ++driver->sequence;
                 driver->tell_change({{"link", "down"}});
             }},
            {"APacketOfAnotherStart",
             [this] {
                 driver->tell(bytes_of("alive", {{"epoch", second_epoch}}));
             }},
            {"AChangeWithoutNumbers",
             [this] {
                 driver->tell(bytes_of("change", {{"epoch", driver->epoch}, {"link", "down"}}));
             }},
            {"BytesThatAreNoPacket", [this] { driver->tell("HTTP/1.1 400 Bad Request\r\n\r\n"); }},
            {"AnErrorThatNobodyAskedFor",
             [this] { driver->tell(bytes_of("error", {}, 1, "out of places")); }},
            {"ItTellsTheTruthAgain", [this] { driver->watch = nullptr; }},
            {"TheItemIsRemoved", [this] { unlink(item_path("studio").c_str()); }},
            {"TheSocketIsRemoved", [this] { unlink(socket_path("studio").c_str()); }},
            {"ItemAndSocketAreRemoved",
             [this] {
                 unlink(item_path("studio").c_str());
                 unlink(socket_path("studio").c_str());
             }},
        };
        doings.at(event)();
    }

    // Waits until the state was told after the event, with the text in its reason.
    void expect_told(router_state state, const std::string& because) {
        wait_for(std::string("it is told: ") + gateway::router_state_word(state) + " because " + because,
                 [&] {
                     for (std::size_t i = told_before; i < told.size(); ++i)
                         if (told[i].name == "studio" && told[i].state == state &&
                             told[i].reason.find(because) != std::string::npos)
                             return true;
                     return false;
                 });
    }
};

router_state state_of_letter(char letter) {
    for (const column& each : columns)
        if (each.letter == letter)
            return each.state;
    return router_state::no_driver;
}

std::vector<std::pair<row, column>> cells() {
    std::vector<std::pair<row, column>> all;
    for (const row& event : rows)
        for (std::size_t i = 0; i < std::size(columns); ++i)
            if (event.leads_to[i] != '-')
                all.emplace_back(event, columns[i]);
    return all;
}

std::string cell_name(const testing::TestParamInfo<std::pair<row, column>>& cell) {
    return std::string(cell.param.second.name) + "Then" + cell.param.first.name;
}

} // namespace

TEST_P(LinkTable, EachStateAndEventLeadToTheirState) {
    const row& event = GetParam().first;
    const column& before = GetParam().second;
    reach(before.letter);
    wait_for_state("studio", before.state);
    const std::size_t which = static_cast<std::size_t>(
        &*std::find_if(std::begin(columns), std::end(columns),
                       [&](const column& each) { return each.letter == before.letter; }) -
        columns);
    const char leads_to = event.leads_to[which];
    told_before = told.size();
    const std::uint64_t version = studio().version;
    happen(event.name);
    if (leads_to == '.') {
        wait_until_reread();
        EXPECT_EQ(studio().state, before.state);
        return;
    }
    if (leads_to == 'G') {
        wait_for("it is gone", [&] { return board->find("studio") == nullptr; });
        expect_told(router_state::no_driver, event.because);
        EXPECT_TRUE(told.back().news.gone);
        EXPECT_GT(told.back().version, version);
        return;
    }
    const router_state after = state_of_letter(leads_to);
    if (event.on_the_way != ' ')
        expect_told(state_of_letter(event.on_the_way), event.because);
    else
        expect_told(after, event.because);
    wait_for_state("studio", after);
    EXPECT_EQ(studio().reason.empty(), after == router_state::up) << studio().reason;
    EXPECT_GT(studio().version, version);
}

INSTANTIATE_TEST_SUITE_P(Cells, LinkTable, testing::ValuesIn(cells()), cell_name);
