// A body that asks for takes, on a router of 6 inputs and 4 outputs: what comes of it is an order that the
// driver's own rules have nothing against, of nothing that was not asked for.
#include "gateway/api/json_reading.h"
#include "gateway/api/take_body.h"
#include "target.h"

#include <set>

using namespace gateway;

namespace {

vrdx::router_picture a_picture() {
    vrdx::router_picture picture;
    picture.split_levels = true;
    for (const char* name : {"one", "two", "same", "same", "", "1"})
        picture.inputs.push_back({true, name, {}});
    picture.outputs.resize(4);
    picture.outputs[0].sources = {1, 2};
    picture.outputs[1].sources = {vrdx::source_unknown, 3};
    return picture;
}

bool is_source(int source) {
    return source >= 0 && source <= static_cast<int>(vrdx::picture_inputs_limit);
}

void check_plan(const takes_wish& wish, const std::vector<planned_take>& plan) {
    FUZZ_CHECK(plan.size() == wish.takes.size());
    vrdx::take_order order;
    order.within_ms = wish.within_ms;
    std::set<int> outputs;
    for (std::size_t at = 0; at < plan.size(); ++at) {
        const planned_take& each = plan[at];
        FUZZ_CHECK(each.take.output == wish.takes[at].output);
        FUZZ_CHECK(outputs.insert(each.take.output).second);
        if (!each.reason.empty())
            continue;
        FUZZ_CHECK(is_source(each.take.sources.video) && is_source(each.take.sources.audio));
        if (!wish.takes[at].video)
            FUZZ_CHECK(each.take.sources.video == each.shown.video);
        if (!wish.takes[at].audio)
            FUZZ_CHECK(each.take.sources.audio == each.shown.audio);
        order.takes.push_back(each.take);
        if (each.keeps_level)
            order.expect.push_back({each.take.output, each.shown});
    }
    order.id = "1";
    if (!order.takes.empty())
        FUZZ_CHECK(vrdx::order_problem(order).empty());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const vrdx::router_picture picture = a_picture();
    std::string problem;
    const auto body = read_json(as_text(data, size), &problem);
    if (!body)
        return 0;
    const auto wish = read_takes(*body, &problem);
    FUZZ_CHECK(wish.has_value() == problem.empty());
    if (!wish)
        return 0;
    FUZZ_CHECK(!wish->takes.empty() && wish->takes.size() <= vrdx::takes_per_order_limit);
    auto plan = plan_takes(*wish, picture, &problem);
    FUZZ_CHECK(plan.has_value() == problem.empty());
    if (!plan)
        return 0;
    check_plan(*wish, *plan);
    refuse_what_is_not_there(&*plan, picture);
    for (const planned_take& each : *plan)
        if (each.reason.empty())
            FUZZ_CHECK(each.take.output <= 4 && each.take.sources.video <= 6 && each.take.sources.audio <= 6);
    return 0;
}
