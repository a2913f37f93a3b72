#include "gateway/layouts/layout_store.h"

#include "gateway/access/access_store.h"
#include "gateway/access/database.h"
#include "gateway/access/fair_share.h"
#include "gateway/settings/limits.h"

namespace gateway {

namespace {

using kind = layout_answer::kind;

struct in_use {
    std::size_t layouts = 0, bytes = 0;
};

// Of all layouts but this one, or of those of its owner.
bool count_others(database& kept, const char* sql, const layout_owner& owner, in_use* found,
                  std::string* problem) {
    return kept.read(
        sql, {owner.token, owner.router},
        [found](const sql_row& row) {
            found->layouts = static_cast<std::size_t>(row.number(0));
            found->bytes = static_cast<std::size_t>(row.number(1));
        },
        problem);
}

// "" when there is room for so many bytes more.
std::string room_problem(const in_use& all, const in_use& own, std::size_t bytes) {
    const std::size_t layouts = share_of(layouts_per_token_limit, layouts_limit, all.layouts - own.layouts);
    if (own.layouts + 1 > layouts)
        return "This panel has layouts of " + std::to_string(own.layouts) +
               " other routers already, and there is no room for more; possible: remove one of those.";
    const std::size_t most =
        share_of(layouts_bytes_per_token_limit, layouts_bytes_limit, all.bytes - own.bytes);
    if (own.bytes + bytes > most)
        return "The layouts of this panel would have more than " + std::to_string(most) +
               " bytes together; possible: a smaller one, or to remove that of another router.";
    return {};
}

} // namespace

bool layout_store::read(const layout_owner& owner, kept_layout* found, std::string* problem) const {
    *found = {};
    return store_.kept().read(
        "SELECT content, changed FROM layouts WHERE owner = ? AND router = ?", {owner.token, owner.router},
        [found](const sql_row& row) {
            found->content = row.text(0);
            found->changed = row.number(1);
        },
        problem);
}

layout_answer layout_store::write(const layout_owner& owner, std::string_view content, std::int64_t now) {
    database& kept = store_.kept();
    kept.forget_busy();
    layout_answer answer;
    in_use all, own;
    const auto steps = [&] {
        if (!count_others(kept,
                          "SELECT count(*), ifnull(sum(bytes), 0) FROM layouts WHERE NOT (owner = ? AND "
                          "router = ?)",
                          owner, &all, &answer.problem) ||
            !count_others(kept,
                          "SELECT count(*), ifnull(sum(bytes), 0) FROM layouts WHERE owner = ? AND "
                          "router <> ?",
                          owner, &own, &answer.problem))
            return false;
        answer.problem = room_problem(all, own, content.size());
        if (!answer.problem.empty()) {
            answer.result = kind::too_much;
            return false;
        }
        if (!kept.change("INSERT OR REPLACE INTO layouts (owner, router, token, changed, bytes, content) "
                         "SELECT ?1, ?2, nullif(?1, 0), ?3, ?4, ?5 WHERE ?1 = 0 OR EXISTS (SELECT 1 FROM "
                         "tokens WHERE id = ?1)",
                         {owner.token, owner.router, now, static_cast<std::int64_t>(content.size()), content},
                         &answer.problem))
            return false;
        if (kept.changed_rows() == 0)
            answer.problem = "The token of this panel was removed just now.";
        return answer.problem.empty();
    };
    std::string problem;
    if (kept.transaction(steps, &problem))
        return {kind::done, {}};
    if (answer.problem.empty())
        answer.problem = problem;
    return answer;
}

layout_answer layout_store::remove(const layout_owner& owner) {
    database& kept = store_.kept();
    kept.forget_busy();
    std::string problem;
    const auto steps = [&] {
        return kept.change("DELETE FROM layouts WHERE owner = ? AND router = ?", {owner.token, owner.router},
                           &problem);
    };
    if (kept.transaction(steps, &problem))
        return {kind::done, {}};
    return {kind::failed, problem};
}

} // namespace gateway
