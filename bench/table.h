// The rows of the table, what each has to reach, and the forms the table is printed in.
#pragma once

#include <string>
#include <vector>

enum class target_kind {
    at_most,      // times the other
    at_least,     // times the other
    within,       // this share of the other, above or below
    at_most_more, // units more than the other
    no_more_than, // units, whatever the other
    reported,     // nothing to reach
};

struct target {
    target_kind kind;
    double limit;
};

struct row {
    std::string name;
    double ours;
    double other;
    std::string unit;
    double ratio; // ours / other
    std::string target;
    double spread; // of the ratio from round to round; of ours where units are to be reached
    bool met;
};

// One row from what each round measured on both sides (as many of ours as of the other).
row make_row(const std::string& name, const std::string& unit, const target& target,
             const std::vector<double>& ours, const std::vector<double>& other);

void print_plain(const std::vector<row>& rows);
void print_markdown(const std::vector<row>& rows);
// False when the file cannot be written.
bool write_json(const std::vector<row>& rows, const std::string& path);
