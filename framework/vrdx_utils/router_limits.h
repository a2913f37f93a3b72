// The largest router that is driven; what is beyond is left out.
#pragma once

constexpr int most_router_inputs = 4096;
constexpr int most_router_outputs = 1024;
