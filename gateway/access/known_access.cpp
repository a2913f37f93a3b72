#include "known_access.h"

namespace gateway {
namespace {

std::vector<std::string> parts(const std::string& text) {
    std::vector<std::string> found;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        found.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return found;
}

// A text that nobody of us wrote allows nothing: false.
bool read_list(const std::string& text, number_list* list) {
    if (text.empty())
        return true;
    std::string ignored;
    const std::optional<number_list> read = number_list::parse(text, &ignored);
    if (read)
        *list = *read;
    return read.has_value();
}

std::shared_ptr<const token> token_of(const sql_row& row) {
    auto found = std::make_shared<token>();
    found->id = row.number(0);
    found->name = row.text(1);
    found->right = role_of_word(row.text(3)).value_or(role::none);
    found->routers = parts(row.text(4));
    if (!read_list(row.text(5), &found->outputs) || !read_list(row.text(6), &found->inputs))
        found->right = role::none;
    found->created = row.number(7);
    return found;
}

} // namespace

bool read_access(known_access& known, std::string* problem) {
    std::unordered_map<std::string, std::shared_ptr<const token>> tokens;
    std::unordered_map<std::string, session_entry> sessions;
    std::map<std::int64_t, std::shared_ptr<const token>> by_id;
    std::set<std::string> ended;
    std::int64_t data_version = 0;
    // Asked first: what is written after it is read once too often, never once too seldom.
    const bool was_read =
        known.kept->number("PRAGMA data_version", &data_version, problem) &&
        known.kept->read(
            "SELECT id, name, hash, role, routers, outputs, inputs, created FROM tokens", {},
            [&](const sql_row& row) {
                const std::shared_ptr<const token> found = token_of(row);
                tokens[row.text(2)] = found;
                by_id[found->id] = found;
            },
            problem) &&
        known.kept->read(
            "SELECT id, hash, token, until, kept FROM sessions", {},
            [&](const sql_row& row) {
                const auto owner = by_id.find(row.number(2));
                if (known.ended.contains(row.text(1)))
                    ended.insert(row.text(1));
                else if (owner != by_id.end())
                    sessions[row.text(1)] = {row.number(0), row.number(3), owner->second, row.number(4) != 0};
            },
            problem);
    if (!was_read)
        return false;
    for (const auto& [hash, before] : known.tokens)
        if (tokens.count(hash) == 0)
            known.news.removed_tokens.push_back(before->id);
    for (const auto& [hash, before] : known.sessions)
        if (sessions.count(hash) == 0)
            known.news.ended_sessions.push_back(before.id);
    known.tokens = std::move(tokens);
    known.sessions = std::move(sessions);
    known.ended = std::move(ended);
    known.data_version = data_version;
    return true;
}

} // namespace gateway
