// A board on directories of the test's own. What it tells is kept; the loop runs while the test waits.
#pragma once

#include "board_clock.h"
#include "gateway/routers/router_board.h"
#include "temporary_directory.h"
#include "test_files.h"
#include "wait_until.h"

#include <boost/asio/io_context.hpp>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

// What a listener was told, without the router that may be gone since.
struct kept_news {
    std::string name;
    gateway::router_state state;
    std::string reason;
    std::uint64_t version;
    gateway::router_news news;
};

// One ending, once it is there.
struct kept_ending {
    int times = 0;
    gateway::take_ending ending;

    [[nodiscard]] bool is_there() const {
        return times > 0;
    }
};

class board_fixture : public testing::Test {
protected:
    temporary_directory directory;
    const std::string items = directory.file("items");
    const std::string run = directory.file("run");
    boost::asio::io_context loop;
    std::unique_ptr<gateway::router_board> board;
    std::vector<kept_news> told;
    std::vector<std::function<void()>> others; // what else has its turn while the test waits

    void SetUp() override {
        clock_pushed_us = 0;
        std::filesystem::create_directory(items);
        std::filesystem::create_directory(run);
        make_board();
    }

    void make_board() {
        board = std::make_unique<gateway::router_board>(loop, items, run);
        board->listen([this](const gateway::router_news& news) {
            const gateway::shown_router& router = *news.router;
            told.push_back({router.name, router.state, router.reason, router.version, news});
        });
    }

    [[nodiscard]] std::string item_path(const std::string& name) const {
        return items + "/" + name + ".item";
    }
    [[nodiscard]] std::string socket_path(const std::string& name) const {
        return run + "/" + name + ".sock";
    }

    // Lets the loop and the others have their turns until it is true. Throws when it does not become so.
    void wait_for(const std::string& what, const std::function<bool()>& condition) {
        wait_until(what, [&] {
            for (const auto& other : others)
                other();
            loop.restart();
            loop.poll();
            return condition();
        });
    }
    void wait_for_state(const std::string& name, gateway::router_state state) {
        wait_for(name + " is " + gateway::router_state_word(state), [&] {
            const gateway::shown_router* router = board->find(name);
            return router != nullptr && router->state == state;
        });
    }
    kept_ending wait_for_ending(const std::shared_ptr<kept_ending>& ending) {
        wait_for("an ending", [&] { return ending->is_there(); });
        return *ending;
    }

    // Asks for takes "OUTPUT=INPUT", on both levels.
    std::shared_ptr<kept_ending> take(const std::string& name, const std::vector<std::pair<int, int>>& takes,
                                      const std::string& lane = "lane", unsigned within_ms = 0) {
        vrdx::take_order order;
        for (const auto& [output, input] : takes)
            order.takes.push_back({output, {input, input}});
        order.id = "of the asker";
        order.within_ms = within_ms;
        auto kept = std::make_shared<kept_ending>();
        board->take(name, lane, std::move(order), keep_in(kept));
        return kept;
    }
    static gateway::take_done keep_in(const std::shared_ptr<kept_ending>& kept) {
        return [kept](gateway::take_ending ending) {
            ++kept->times;
            kept->ending = std::move(ending);
        };
    }
};

inline vrdx::take_word word_of(const kept_ending& kept, std::size_t which = 0) {
    return kept.ending.answer.results.at(which).result.word;
}
