// What the client's exit tells a script. The help text of the client says the same.
#pragma once

constexpr int exit_done = 0;
constexpr int exit_refused =
    1; // the driver answered, but with "no router" or an error, or did not do what was asked
constexpr int exit_usage = 2;     // wrong use: nothing was sent
constexpr int exit_no_driver = 3; // no driver, or no answer in time
