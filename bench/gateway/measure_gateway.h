// The measurements of the gateway's rows, as measure.h has those of the driver.
#pragma once

#include "../plan.h"

const std::vector<planned_measurement>& gateway_plan();

measurement measure_gateway_fan(int rounds);
measurement measure_gateway_takes(int rounds);
measurement measure_gateway_pictures(int rounds);
measurement measure_videohub_loop(int rounds);
measurement measure_gateway_start(int rounds);
measurement measure_gateway_reader_growth(int rounds);
measurement measure_gateway_router_growth(int rounds);
measurement measure_site_takes(int rounds);
measurement measure_site_changes(int rounds);
measurement measure_site_growth(int rounds);
measurement measure_gateway_history_takes(int rounds);
measurement measure_gateway_history_questions(int rounds);
