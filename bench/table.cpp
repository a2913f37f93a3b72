#include "table.h"

#include "statistics.h"

#include <cmath>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>

namespace {

std::string short_number(double number) {
    char text[32];
    std::snprintf(text, sizeof(text), "%g", number);
    return text;
}

// Three digits that count, without an exponent.
std::string shown(double number) {
    const double size = std::fabs(number);
    const int decimals = size >= 100 ? 0 : size >= 10 ? 1 : size >= 1 ? 2 : 3;
    char text[64];
    std::snprintf(text, sizeof(text), "%.*f", decimals, number);
    return text;
}

std::string describe(const target& target, const std::string& unit) {
    switch (target.kind) {
    case target_kind::at_most:
        return "at most " + short_number(target.limit) + "x";
    case target_kind::at_least:
        return "at least " + short_number(target.limit) + "x";
    case target_kind::within:
        return "within " + short_number(target.limit * 100) + " %";
    case target_kind::at_most_more:
        return "at most " + short_number(target.limit) + " " + unit + " more";
    case target_kind::no_more_than:
        return "at most " + short_number(target.limit) + " " + unit;
    case target_kind::reported:
        break;
    }
    return "reported";
}

bool is_met(const target& target, const row& row) {
    switch (target.kind) {
    case target_kind::at_most:
        return row.ratio <= target.limit;
    case target_kind::at_least:
        return row.ratio >= target.limit;
    case target_kind::within:
        return std::fabs(row.ratio - 1) <= target.limit;
    case target_kind::at_most_more:
        return row.ours - row.other <= target.limit;
    case target_kind::no_more_than:
        return row.ours <= target.limit;
    case target_kind::reported:
        break;
    }
    return true;
}

} // namespace

row make_row(const std::string& name, const std::string& unit, const target& target,
             const std::vector<double>& ours, const std::vector<double>& other) {
    std::vector<double> ratios;
    for (std::size_t i = 0; i < ours.size() && i < other.size(); ++i)
        ratios.push_back(other[i] == 0 ? 0 : ours[i] / other[i]);
    row made{name, median(ours), median(other), unit, 0, describe(target, unit), 0, false};
    const bool in_units =
        target.kind == target_kind::at_most_more || target.kind == target_kind::no_more_than;
    made.spread = spread(in_units ? ours : ratios);
    made.ratio = made.other == 0 ? 0 : made.ours / made.other;
    made.met = is_met(target, made);
    return made;
}

void print_plain(const std::vector<row>& rows) {
    std::printf("%-70s %10s %10s %-6s %7s  %-19s %6s  %s\n", "row", "ours", "other", "unit", "ratio",
                "target", "spread", "met");
    for (const row& row : rows)
        std::printf("%-70s %10s %10s %-6s %7.2f  %-19s %5.0f%%  %s\n", row.name.c_str(),
                    shown(row.ours).c_str(), shown(row.other).c_str(), row.unit.c_str(), row.ratio,
                    row.target.c_str(), row.spread * 100, row.met ? "yes" : "NO");
}

void print_markdown(const std::vector<row>& rows) {
    std::puts("| row | ours | other | unit | ratio | target | spread | met |");
    std::puts("|---|---:|---:|---|---:|---|---:|---|");
    for (const row& row : rows)
        std::printf("| %s | %s | %s | %s | %.2f | %s | %.0f %% | %s |\n", row.name.c_str(),
                    shown(row.ours).c_str(), shown(row.other).c_str(), row.unit.c_str(), row.ratio,
                    row.target.c_str(), row.spread * 100, row.met ? "yes" : "no");
}

bool write_json(const std::vector<row>& rows, const std::string& path) {
    nlohmann::ordered_json document;
    document["rows"] = nlohmann::ordered_json::array();
    for (const row& row : rows)
        document["rows"].push_back({{"row", row.name},
                                    {"ours", row.ours},
                                    {"other", row.other},
                                    {"unit", row.unit},
                                    {"ratio", row.ratio},
                                    {"target", row.target},
                                    {"spread", row.spread},
                                    {"met", row.met}});
    std::ofstream file(path);
    file << document.dump(2) << '\n';
    return static_cast<bool>(file.flush());
}
