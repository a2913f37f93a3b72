// A backend that cannot be started: nobody notices but who asks for it, and the next check tries again.
#include "mortal_fixture.h"

#include <ostream>

namespace {

struct obstacle {
    const char* name;
    fault_call call;
    int error;
};

void PrintTo(const obstacle& one, std::ostream* stream) {
    *stream << one.name;
}

class FailingStarts : public mortal_fixture, public testing::WithParamInterface<obstacle> {};

constexpr std::uint64_t failing_checks = 5;

} // namespace

TEST_P(FailingStarts, AreTriedAgainAtTheNextCheckWhileClientsAreAnswered) {
    start("exit");
    wait_until_active();
    const std::size_t descriptors = driver_->settled_descriptor_count();
    faults_.fail(GetParam().call, 1, failing_checks, GetParam().error);
    client_->route("1=2"); // it dies of it
    wait_until("the death is noticed", [&] { return !active(); });
    for (std::uint64_t check = 1; check <= failing_checks; ++check) {
        faults_.advance_clock(5000);
        wait_until("a start is tried", [&] {
            EXPECT_EQ(client_->request("ping").command, "ping");
            return faults_.seen() >= check;
        });
        wait_until("it has failed", [&] { return !active() && driver_->children().empty(); });
        EXPECT_EQ(faults_.seen(), check) << "one try at each check";
    }
    faults_.advance_clock(5000);
    wait_until_active();
    EXPECT_EQ(driver_->settled_descriptor_count(), descriptors);
    EXPECT_EQ(driver_->stop(), (driver_end{0, 0}));
}

INSTANTIATE_TEST_SUITE_P(Calls, FailingStarts,
                         testing::Values(obstacle{"pipe", fault_call::make_pipe, EMFILE},
                                         obstacle{"fork", fault_call::fork_child, EAGAIN},
                                         obstacle{"exec", fault_call::execute, ENOEXEC}),
                         [](const auto& one) { return std::string(one.param.name); });
