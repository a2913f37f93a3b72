// How the machine is doing, as short texts for the status report. Each begins with "; " and a word, is cheap,
// and is renewed at most once a second.
#pragma once

#include <string>

const std::string& shm_status(); // "; shm 12.0 MiB of 960.0 MiB used"
const std::string& mem_status(); // "; mem 3.1 MiB resident, 9000.0 MiB free"
const std::string& cpu_status(); // "; cpu 0.3 % of one core, load 0.52"

// Starts the measure of CPU use.
void init_zel_utils_cpu();
