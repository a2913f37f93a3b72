#include "measure_gateway.h"

const std::vector<planned_measurement>& gateway_plan() {
    static const std::vector<planned_measurement> plan = {
        {measure_gateway_fan,
         {{"change to 200 readers of 100 routers p99, vs a broker", "ms", {target_kind::no_more_than, 25}},
          {"CPU per change to 200 readers, vs a broker", "us", {target_kind::at_most, 1.5}},
          {"resident memory with 100 routers and 200 readers, vs a broker",
           "KiB",
           {target_kind::no_more_than, 65536}}}},
        {measure_gateway_takes,
         {{"POST takes to its answer p50, vs the driver's take", "ms", {target_kind::at_most_more, 2}}}},
        {measure_videohub_loop,
         {{"take by Videohub server and backend p50, vs the driver's take",
           "ms",
           {target_kind::at_most_more, 30}}}},
        {measure_gateway_pictures,
         {{"GET of a picture 128x128 per second, vs a bare echo of its size",
           "1/s",
           {target_kind::at_least, 0.3}}}},
        {measure_gateway_start,
         {{"start to ready with 100 routers, vs with one", "ms", {target_kind::no_more_than, 1000}}}},
        {measure_gateway_reader_growth,
         {{"CPU per change and reader, 100 readers vs 10", "us", {target_kind::at_most, 1.1}},
          {"CPU per change and reader, 1000 readers vs 100", "us", {target_kind::at_most, 1.1}}}},
        {measure_gateway_router_growth,
         {{"CPU per change to 50 readers, 10 routers vs 1", "us", {target_kind::at_most, 1.1}},
          {"CPU per change to 50 readers, 100 routers vs 10", "us", {target_kind::at_most, 1.1}}}},
    };
    return plan;
}
