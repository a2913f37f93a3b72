// What tests of the backend's reports start from.
#pragma once

#include "fresh_driver.h"
#include "router_picture.h"

#include <string>
#include <vector>

class reporting_backend : public fresh_driver {
protected:
    static void give_lines(const std::vector<std::string>& lines) {
        for (const std::string& line : lines)
            read_backend_report_line(line);
    }
    // A complete report of type "message".
    static void report(const std::string& command, const std::vector<std::string>& fields) {
        give_lines({"*COMMAND=" + command, "*TYPE=message"});
        give_lines(fields);
        give_lines({""});
    }
    static void make_router(int inputs, int outputs) {
        report("info", {"inputs=" + std::to_string(inputs), "outputs=" + std::to_string(outputs)});
    }
    static std::vector<std::string> output_names() {
        std::vector<std::string> names;
        names.reserve(router_outputs.size());
        for (const router_output& output : router_outputs)
            names.push_back(output.name);
        return names;
    }
};
