// All rows of the table: their names, their targets, and the measurement each comes from.
#pragma once

#include "measure.h"
#include "table.h"

#include <string>
#include <vector>

struct planned_row {
    std::string name;
    std::string unit;
    target goal;
};

struct planned_measurement {
    measurement (*measure)(int rounds);
    std::vector<planned_row> rows; // in the order in which `measure` returns them
};

const std::vector<planned_measurement>& measurement_plan();
