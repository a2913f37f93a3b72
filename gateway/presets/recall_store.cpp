#include "gateway/presets/recall_store.h"

#include "gateway/access/access_store.h"
#include "gateway/access/database.h"

#include <algorithm>

namespace gateway {

namespace {

// What leads back is made by the gateway alone: numbers, and what is expected.
std::int64_t number_of(const std::optional<source_wish>& source) {
    return std::get<int>(source.value_or(0));
}

preset_take take_of(const sql_row& row) {
    const auto number = [&row](int column) { return static_cast<int>(row.number(column)); };
    output_wish wish{number(2), number(3), number(4)};
    vrdx::level_sources brought;
    brought.video = number(5);
    brought.audio = number(6);
    wish.only_if = brought;
    return {row.text(1), wish};
}

} // namespace

bool recall_store::read(recall_memory* memory, std::string* problem) const {
    database& kept = store_.kept();
    std::vector<remembered_recall> recalls;
    std::map<std::string, std::vector<preset_take>> back;
    if (!kept.read(
            "SELECT preset, time FROM recalls ORDER BY time", {},
            [&](const sql_row& row) {
                recalls.push_back({row.text(0), row.number(1), {}});
            },
            problem) ||
        !kept.read(
            "SELECT preset, router, output, shown_video, shown_audio, brought_video, brought_audio FROM "
            "recalled_outputs ORDER BY preset, place",
            {}, [&](const sql_row& row) { back[row.text(0)].push_back(take_of(row)); }, problem))
        return false;
    for (remembered_recall& each : recalls) {
        each.back = std::move(back[each.preset]);
        const std::string preset = each.preset;
        memory->keep(std::move(each));
        memory->written(preset);
    }
    return true;
}

bool recall_store::write(recall_memory* memory) {
    if (memory->unwritten().empty())
        return true;
    store_.kept().forget_busy();
    const std::vector<std::string> presets(memory->unwritten().begin(), memory->unwritten().end());
    for (const std::string& preset : presets) {
        std::string problem; // the store itself tells the operator what the disk refuses
        if (write_one(preset, memory->of(preset), &problem))
            memory->written(preset);
        else if (is_busy())
            break;
    }
    return memory->unwritten().empty();
}

bool recall_store::is_busy() const {
    return store_.kept().was_busy();
}

bool recall_store::write_one(const std::string& preset, const remembered_recall* known,
                             std::string* problem) {
    database& kept = store_.kept();
    const auto write_outputs = [&] {
        std::int64_t place = 0;
        return std::all_of(known->back.begin(), known->back.end(), [&](const preset_take& each) {
            return kept.change("INSERT INTO recalled_outputs (preset, place, router, output, shown_video, "
                               "shown_audio, brought_video, brought_audio) VALUES (?, ?, ?, ?, ?, ?, ?, ?)",
                               {preset, place++, each.router, each.wish.output, number_of(each.wish.video),
                                number_of(each.wish.audio), each.wish.only_if->video,
                                each.wish.only_if->audio},
                               problem);
        });
    };
    const auto steps = [&] {
        if (!kept.change("DELETE FROM recalls WHERE preset = ?", {preset}, problem))
            return false;
        return known == nullptr || (kept.change("INSERT INTO recalls (preset, time) VALUES (?, ?)",
                                                {preset, known->time}, problem) &&
                                    write_outputs());
    };
    return kept.transaction(steps, problem);
}

} // namespace gateway
