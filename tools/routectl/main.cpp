#include "command_line.h"
#include "command_table.h"
#include "program_end.h"

#include <cstdio>

int main(int argc, char** argv) {
    invocation call;
    int result = read_command_line(argc, argv, &call);
    if (result < 0)
        result = call.what->run(call);
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        return failed(exit_refused, "cannot write the output");
    return result;
}
