// What the history costs takes, and how long a question about it takes.
#include "measure_gateway.h"

#include "fleet.h"
#include "gateway/audit/history_schema.h"
#include "http_client.h"

#include <algorithm>
#include <stdexcept>

namespace {

constexpr router_size crossbar{32, 32};
constexpr int salvos_per_round = 150;
constexpr double salvo_period_ms = 32; // 32 takes each: 1,000 takes a second
constexpr int questions_per_round = 200;
constexpr std::int64_t many_entries = 10000000;
constexpr std::int64_t few_entries = 10000;
constexpr int history_routers = 20;
constexpr int history_outputs = 128;

constexpr const char* whole_salvos = "bench salvo=yes\n"; // else the backend's pace is measured
constexpr const char* without_history = "[history]\ndays = 0\n";
// Nothing of what a test made is too old or too much.
constexpr const char* large_history = "[history]\ndays = 3650\nbytes = 1099511627776\n";

double milliseconds_since(std::uint64_t begun) {
    return static_cast<double>(clock_ns() - begun) / 1e6;
}

// All outputs at once; another source for each than before.
std::string salvo_body(int salvo) {
    std::string takes;
    for (int output = 1; output <= crossbar.outputs; ++output)
        takes += (takes.empty() ? "" : ",") + std::string(R"({"output":)") + std::to_string(output) +
                 R"(,"input":)" + std::to_string((salvo + output) % crossbar.inputs + 1) + "}";
    return R"({"takes":[)" + takes + "]}";
}

// Of requests that are sent at their times, as far as the answers let them.
std::vector<double> salvo_times(http_client& client, int* salvo) {
    std::vector<double> times;
    for (int count = 0; count < salvos_per_round; ++count) {
        const std::uint64_t begun = clock_ns();
        const std::string answer = client.ask("POST", "/api/v1/routers/r1/takes", salvo_body(++*salvo));
        times.push_back(milliseconds_since(begun));
        if (answer.find("confirmed") == std::string::npos)
            throw std::runtime_error("takes were not confirmed: " + answer);
        if (times.back() < salvo_period_ms)
            sleep_ms(salvo_period_ms - times.back());
    }
    return times;
}

// A history of so many takes: of 20 routers with 128 outputs, one a second, in one transaction. The indexes
// are made anew behind the rows: each of them row by row would take the better part of an hour.
void make_history(const std::string& state, std::int64_t entries) {
    std::string problem;
    const auto kept = gateway::open_history(state, &problem);
    std::vector<std::string> names, indexes;
    const auto keep = [&](const gateway::sql_row& row) {
        names.push_back(row.text(0));
        indexes.push_back(row.text(1));
    };
    const auto run_each = [&](const std::vector<std::string>& texts, const std::string& before) {
        return std::all_of(texts.begin(), texts.end(), [&](const std::string& text) {
            return kept->script((before + text).c_str(), &problem);
        });
    };
    const auto insert = [&] {
        return kept->change(
            "WITH RECURSIVE numbers (n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM numbers WHERE n < ?) "
            "INSERT INTO entries (time, kind, router, output, input, level, who, through, claims, user, "
            "process, address, shown_before, shown_after, result, reason, milliseconds, count, until, epoch, "
            "number, share, counted) "
            "SELECT 1700000000000000 + n * 1000000, 0, 'r' || (n % ? + 1), (n / 20) % ? + 1, 0, 'all', "
            "'desk ' || (n % 7), 'gateway', '', 990, 4711, '192.0.2.' || (n % 200), (n % 32) || '', "
            "(n % 31) || '', 'confirmed', '', 12, 1, 0, 4711, n, 0, '' FROM numbers",
            {entries, std::int64_t{history_routers}, std::int64_t{history_outputs}}, &problem);
    };
    const auto steps = [&] {
        return kept->read("SELECT name, sql FROM sqlite_schema WHERE type = 'index' AND sql IS NOT NULL", {},
                          keep, &problem) &&
               run_each(names, "DROP INDEX ") && insert() && run_each(indexes, "");
    };
    if (!kept || !kept->script("PRAGMA synchronous = OFF; PRAGMA cache_size = -131072", &problem) ||
        !kept->transaction(steps, &problem))
        throw std::runtime_error("the history cannot be made: " + problem);
}

std::vector<double> question_times(http_client& client, int* question) {
    std::vector<double> times;
    for (int count = 0; count < questions_per_round; ++count) {
        const int number = ++*question;
        const std::string path = "/api/v1/history?limit=100&router=r" +
                                 std::to_string(number % history_routers + 1) +
                                 "&output=" + std::to_string(number * 7 % history_outputs + 1);
        const std::uint64_t begun = clock_ns();
        const std::string answer = client.ask("GET", path);
        times.push_back(milliseconds_since(begun));
        if (answer.find("\"kind\":\"take\"") == std::string::npos)
            throw std::runtime_error("nothing was found by " + path);
    }
    return times;
}

} // namespace

measurement measure_gateway_history_takes(int rounds) {
    const work_directory recording, forgetting;
    const driver_fleet recorded(recording, 1, crossbar, whole_salvos);
    const driver_fleet forgotten(forgetting, 1, crossbar, whole_salvos);
    const running_gateway with(recording, recorded), without(forgetting, forgotten, without_history);
    http_client one(with.port(), with.token()), other(without.port(), without.token());
    int salvo = 0;
    return alternate(
        rounds, [&] { return middle_and_tail(salvo_times(one, &salvo)); },
        [&] { return middle_and_tail(salvo_times(other, &salvo)); });
}

measurement measure_gateway_history_questions(int rounds) {
    const work_directory much, little;
    const driver_fleet above_much(much, 1, crossbar), above_little(little, 1, crossbar);
    const auto fill = [](std::int64_t entries) {
        return [entries](const std::string& state) { make_history(state, entries); };
    };
    const running_gateway large(much, above_much, large_history, fill(many_entries));
    const running_gateway small(little, above_little, large_history, fill(few_entries));
    http_client one(large.port(), large.token()), other(small.port(), small.token());
    int question = 0;
    return alternate(
        rounds, [&] { return middle_and_tail(question_times(one, &question)); },
        [&] { return middle_and_tail(question_times(other, &question)); });
}
