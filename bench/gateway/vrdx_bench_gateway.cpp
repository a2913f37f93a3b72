// Measures the gateway beside the floor of each row and prints one table. docs/performance.md explains it.
#include "../bench_program.h"
#include "measure_gateway.h"

int main(int argc, char** argv) {
    return run_bench(gateway_plan(),
                     "Measures the gateway beside the floor of each row and prints one table.",
                     "vrdx_bench_gateway", argc, argv);
}
