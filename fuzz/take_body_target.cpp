// Bodies of takes: strict JSON, what they ask for, and what that means on a router.
#include "gateway/api/json_reading.h"
#include "gateway/api/take_wish.h"
#include "gateway/http/utf8.h"
#include "packet_client.h"
#include "target.h"

#include <set>

namespace {

vrdx::router_picture small_router() {
    vrdx::router_picture picture;
    picture.split_levels = true;
    picture.inputs = {{true, "camera", {}}, {true, "vtr", {}}, {true, "vtr", {}}};
    picture.outputs.resize(2);
    picture.outputs[0].sources.video = 1;
    return picture;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const vrdx::router_picture picture = small_router();
    std::string problem;
    const auto body = gateway::read_json(as_text(data, size), &problem);
    FUZZ_CHECK(body.has_value() == problem.empty());
    if (!body)
        return 0;
    FUZZ_CHECK(gateway::is_utf8(as_text(data, size)));
    std::string again_problem;
    FUZZ_CHECK(gateway::read_json(gateway::json_text(*body), &again_problem) == body);
    const auto wish = gateway::read_takes(*body, &problem);
    FUZZ_CHECK(wish.has_value() == problem.empty());
    if (!wish)
        return 0;
    std::set<int> outputs;
    for (const gateway::output_wish& each : wish->takes)
        FUZZ_CHECK(outputs.insert(each.output).second && (each.video || each.audio));
    const auto plan = gateway::plan_takes(*wish, picture, &problem);
    FUZZ_CHECK(plan.has_value() == problem.empty());
    if (!plan)
        return 0;
    FUZZ_CHECK(plan->size() == wish->takes.size());
    vrdx::take_order order; // what can be sent, the driver can read
    order.id = "1";
    for (const gateway::planned_take& each : *plan)
        if (each.reason.empty())
            order.takes.push_back(each.take);
    FUZZ_CHECK(order.takes.empty() || vrdx::order_problem(order).empty());
    return 0;
}
