#include "plan.h"

namespace {

target at_most(double limit) {
    return {target_kind::at_most, limit};
}
target at_least(double limit) {
    return {target_kind::at_least, limit};
}
target within(double share) {
    return {target_kind::within, share};
}
target at_most_more(double limit) {
    return {target_kind::at_most_more, limit};
}
target no_more_than(double limit) {
    return {target_kind::no_more_than, limit};
}
constexpr target reported{target_kind::reported, 0};

} // namespace

const std::vector<planned_measurement>& measurement_plan() {
    static const std::vector<planned_measurement> plan = {
        {measure_status_128,
         {{"status round trip p50, 128x128, vs raw echo", "us", at_most(1.35)},
          {"status round trip p99, 128x128, vs raw echo", "us", at_most(2)}}},
        {measure_status_16,
         {{"status round trip p50, 16x16, vs raw echo", "us", at_most(1.35)},
          {"status round trip p99, 16x16, vs raw echo", "us", at_most(2)}}},
        {measure_crowd,
         {{"status per second, 50 clients, 128x128, vs raw echo", "1/s", at_least(0.5)},
          {"status p99, 50 clients, 128x128, vs raw echo", "us", at_most(1.5)}}},
        {measure_crowd_redis,
         {{"status per second, 50 clients, 128x128, vs redis HGETALL", "1/s", at_least(3)}}},
        {measure_take,
         {{"take to first command byte p50, vs echo + pipe hop", "us", at_most(2)},
          {"take to first command byte p99, vs echo + pipe hop", "us", at_most(3)}}},
        {measure_take_answer,
         {{"report to the answer of its take p50, vs one pass", "ms", at_most(1.1)},
          {"report to the answer of its take p99, vs one pass", "ms", at_most(1.1)}}},
        {measure_watchers,
         {{"change to 1 watcher, vs bare loop", "ms", at_most(1.25)},
          {"change to the first of 50 watchers, vs bare loop", "ms", at_most(1.25)},
          {"change to the last of 50 watchers, vs bare loop", "ms", at_most(1.25)},
          {"change to the first of 500 watchers, vs bare loop", "ms", at_most(1.25)},
          {"change to the last of 500 watchers, vs bare loop", "ms", at_most(1.25)},
          {"CPU per watcher and change, vs one status 16x16", "us", at_most(1)}}},
        {measure_describe, {{"describe 288x288, all pages, p50, vs raw echo", "us", at_most(2)}}},
        {measure_routectl_status,
         {{"vrdx_routectl status of 4096x1024, vs its description", "ms", no_more_than(200)}}},
        {measure_routectl_watch,
         {{"report to the line in vrdx_routectl watch, vs the answer of its take", "ms", at_most_more(50)}}},
        {measure_salvo,
         {{"salvo of 288 takes to all confirmed, vs the backend alone", "ms", no_more_than(60)},
          {"salvo of 1024 takes to all confirmed, vs the backend alone", "ms", no_more_than(100)}}},
        {measure_salvo_in_messages,
         {{"288 takes, a message each, to all confirmed, vs the backend alone", "ms", reported},
          {"1024 takes, a message each, to all confirmed, vs the backend alone", "ms", reported}}},
        {measure_flood,
         {{"take to first byte beside a flood of 10 clients, longest, vs alone", "ms", no_more_than(500)}}},
        {measure_flood_of_salvos,
         {{"take to first byte beside a flood of salvos, longest, vs alone", "ms", no_more_than(100)}}},
        {measure_videohub,
         {{"take to Videohub and back in status p50, vs the router alone", "ms", at_most_more(25)},
          {"take to Videohub and back in status p99, vs the router alone", "ms", reported}}},
        {measure_videohub_salvo,
         {{"salvo of 288 takes to all confirmed by a Videohub, vs the router alone", "ms",
           no_more_than(60)}}},
        {measure_report, {{"full report 4096x1024 to status, vs bare loop", "ms", at_most(1.5)}}},
        {measure_report_work, {{"CPU of a full report 4096x1024, vs bare loop", "ms", at_most(3)}}},
        {measure_trace_share, {{"full report 4096x1024, trace to file vs /dev/null", "ms", reported}}},
        {measure_idle_cpu, {{"idle CPU, vs bare loop", "us/s", at_most(1.1)}}},
        {measure_memory,
         {{"resident memory, 16x16, vs minimal program", "KiB", at_most(1.5)},
          {"private memory, 16x16, vs minimal program", "KiB", reported},
          {"resident memory, 4096x1024, vs minimal program", "KiB", reported},
          {"private memory, 4096x1024, vs minimal program", "KiB", reported}}},
        {measure_start,
         {{"exec to ready, vs minimal program", "ms", at_most_more(3)},
          {"exec to first byte to the backend, vs minimal program + wait", "ms", at_most_more(3)}}},
        {measure_restart,
         {{"loop held by a backend restart, vs fork of bare loop", "ms", at_most_more(0.25)}}},
        {measure_client_growth,
         {{"status p50, 10 idle clients vs 1", "us", at_most(1.1)},
          {"status p50, 100 idle clients vs 1", "us", at_most(1.1)},
          {"status p50, 750 idle clients vs 1", "us", at_most(1.1)}}},
        {measure_output_growth,
         {{"status p50, 16 outputs vs line from 1 to 128", "us", within(0.1)},
          {"status p50, 64 outputs vs line from 1 to 128", "us", within(0.1)}}},
        {measure_hundred_drivers,
         {{"CPU of 100 drivers with backends, vs one", "us/s", at_most(110)},
          {"resident memory of 100 drivers with backends, vs one", "KiB", at_most(110)},
          {"take p99 beside 99 drivers, vs alone", "us", at_most(3)}}},
    };
    return plan;
}
