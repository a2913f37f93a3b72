#include "schema_steps.h"

namespace gateway {
namespace {

struct marks {
    std::int64_t version = 0, application = 0, tables = 0;
};

// All of one moment: another process may be making the database.
bool read_marks(database& kept, marks* found, std::string* problem) {
    if (!kept.script("BEGIN", problem))
        return false;
    const bool was_read = kept.number("PRAGMA user_version", &found->version, problem) &&
                          kept.number("PRAGMA application_id", &found->application, problem) &&
                          kept.number("SELECT count(*) FROM sqlite_schema", &found->tables, problem);
    std::string ignored;
    return kept.script("ROLLBACK", was_read ? problem : &ignored) && was_read;
}

bool is_of_plan(const database& kept, const schema_plan& plan, const marks& found, std::string* problem) {
    const bool is_empty = found.version == 0 && found.tables == 0 && found.application == 0;
    if (is_empty || (found.application == plan.application && found.version > 0))
        return true;
    *problem = kept.path() + " is a database of another program; possible: another state directory";
    return false;
}

} // namespace

bool bring_along(database& kept, const schema_plan& plan, int version, std::string* problem) {
    marks first;
    if (!read_marks(kept, &first, problem) || !is_of_plan(kept, plan, first, problem))
        return false;
    std::int64_t found = first.version;
    const auto newest = static_cast<std::int64_t>(plan.steps.size());
    if (found > newest) {
        *problem = kept.path() + " is of version " + std::to_string(found) +
                   ", written by a newer vrdx_gateway; possible: versions up to " + std::to_string(newest);
        return false;
    }
    if (found >= version)
        return true;
    return kept.transaction(
        [&] {
            // Another process may have been quicker.
            if (!kept.number("PRAGMA user_version", &found, problem))
                return false;
            for (std::int64_t at = found; at < version; ++at)
                if (!kept.script(plan.steps[static_cast<std::size_t>(at)], problem))
                    return false;
            return true;
        },
        problem);
}

} // namespace gateway
