// Figures for monitoring systems.
#include "handlers.h"

namespace gateway {

void answer_metrics(api_world& world, const incoming_call& incoming, const answer_function& answer) {
    const metrics_format format = wanted_format(incoming->asked.header("accept").value_or(""));
    const auto tell = [answer, format](std::shared_ptr<const std::string> text) {
        reply figures;
        figures.content_type = content_type_of(format);
        figures.body = std::move(text);
        figures.headers = {
            {"Cache-Control", "no-store"}, {"Vary", "Accept"}, {"X-Content-Type-Options", "nosniff"}};
        answer(std::move(figures));
    };
    world.metrics.scrape(incoming->who, {format, world.now.metrics_crosspoints}, tell);
}

} // namespace gateway
