// Measures the driver beside the floor of each row and prints one table. docs/performance.md explains it.
#include "bench_program.h"

int main(int argc, char** argv) {
    return run_bench(measurement_plan(),
                     "Measures the driver beside the floor of each row and prints one table.", "vrdx_bench",
                     argc, argv);
}
