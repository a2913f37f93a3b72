// Several processes at one database, and processes that are killed while they write.
#include "gateway/access/database.h"
#include "gateway/access/lock_table.h"
#include "opened_store.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <functional>
#include <list>
#include <sys/wait.h>
#include <unistd.h>

using namespace gateway;

namespace {

// A process of the test's own; killed at the end if it still lives.
class child_process {
public:
    explicit child_process(const std::function<int()>& work) : pid_(fork()) {
        if (pid_ == 0)
            _exit(work());
    }
    ~child_process() {
        if (pid_ > 0)
            end(SIGKILL);
    }
    child_process(const child_process&) = delete;
    child_process& operator=(const child_process&) = delete;

    void end(int signal) {
        kill(pid_, signal);
        wait();
    }
    // Its exit code; -1 when it was killed.
    int wait() {
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t pid_;
};

// Locks one output after the other, and says each on `told` once it was answered.
int lock_for_ever(const std::string& directory, const token& who, int told) {
    std::string problem;
    const auto store = access_store::open(directory, 5000, &problem);
    const auto table = store ? lock_table::open(*store, &problem) : nullptr;
    if (!table)
        return 1;
    for (int output = 1;; ++output) {
        if (table->set("studio", output, lock_order::lock, who, "", noon).result != lock_answer::kind::done)
            return 2;
        if (write(told, &output, sizeof output) != sizeof output)
            return 3;
    }
}

} // namespace

TEST(SeveralWriters, WhatWasAnsweredOutlivesAKilledWriter) {
    const temporary_directory state;
    const token desk = [&] {
        const auto store = opened(state.path());
        return *store->of_text(add(*store, wish("desk")));
    }();
    for (int round = 0; round < 5; ++round) {
        std::array<int, 2> told{};
        ASSERT_EQ(pipe(told.data()), 0);
        int last = 0;
        {
            child_process writer([&] { return lock_for_ever(state.path(), desk, told[1]); });
            close(told[1]);
            while (last < 20 && read(told[0], &last, sizeof last) == sizeof last) {
            }
            ASSERT_GE(last, 20) << "the writer ended by itself";
            writer.end(SIGKILL);
        }
        while (read(told[0], &last, sizeof last) == sizeof last) {
        }
        close(told[0]);
        const auto store = opened(state.path());
        std::string problem;
        const auto table = lock_table::open(*store, &problem);
        ASSERT_TRUE(table) << problem;
        for (int output = 1; output <= last; ++output)
            ASSERT_NE(table->of("studio", output), nullptr) << output;
        ASSERT_TRUE(store->kept().script("DELETE FROM locks", &problem)) << problem;
    }
}

TEST(SeveralWriters, OpenANewDatabaseAtTheSameTime) {
    const temporary_directory state;
    {
        std::list<child_process> children;
        for (int i = 0; i < 6; ++i)
            children.emplace_back([&state, i] {
                std::string problem;
                const auto store = access_store::open(state.path(), 30000, &problem);
                if (store && !store->add(wish("t" + std::to_string(i)), noon, &problem).empty())
                    return 0;
                std::fprintf(stderr, "%s\n", problem.c_str());
                return 1;
            });
        for (child_process& child : children)
            EXPECT_EQ(child.wait(), 0);
    }
    EXPECT_EQ(opened(state.path())->list().size(), 6U);
}

TEST(SeveralWriters, AddTokensBesideEachOther) {
    const temporary_directory state;
    const auto store = opened(state.path());
    {
        std::list<child_process> children;
        for (int i = 0; i < 4; ++i)
            children.emplace_back([&state, i] {
                std::string problem;
                for (int n = 0; n < 10; ++n) {
                    const auto own = access_store::open(state.path(), 30000, &problem);
                    if (!own || own->add(wish("t" + std::to_string(i * 100 + n)), noon, &problem).empty())
                        return 1;
                }
                return 0;
            });
        for (child_process& child : children)
            EXPECT_EQ(child.wait(), 0);
    }
    const access_news news = store->look(noon);
    EXPECT_EQ(news.problem, "");
    EXPECT_EQ(store->list().size(), 40U);
}
