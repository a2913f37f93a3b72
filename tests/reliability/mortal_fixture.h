// A driver, with its clock in the test's hand, over a backend that dies of the first take it gets.
#pragma once

#include "driver_process.h"
#include "faults.h"
#include "test_client.h"
#include "test_files.h"

#include <gtest/gtest.h>
#include <memory>

class mortal_fixture : public testing::Test {
protected:
    void start(const std::string& death) {
        write_file(item_, "driver=route_mortal\nstay resident=1\ndeath=" + death +
                              "\ntaken=" + directory_.file("taken") + "\n");
        driver_ =
            std::make_unique<driver_process>(driver_setup{.item = item_, .variables = faults_.variables()});
        client_ = std::make_unique<test_client>(driver_->socket_path());
    }
    [[nodiscard]] bool active() {
        return client_->request("report").entry("*active").starts_with('1');
    }
    void wait_until_active() {
        wait_until("a backend is connected", [&] { return active(); });
        wait_for_status(*client_, "out points", "3");
    }
    // Takes that a backend has read so far, whichever.
    [[nodiscard]] std::size_t takes_heard() const {
        const std::string path = directory_.file("taken");
        return file_exists(path) ? read_file(path).size() : 0;
    }
    // The running backend gets a take, dies of it, and the next one is started at its time. The take was
    // never confirmed: it has to be taken back.
    void die_once() {
        const auto before = driver_->children();
        client_->route("1=2");
        wait_until("the death is noticed", [&] { return !active() || driver_->has_others_than(before); });
        faults_.advance_clock(1500);
        wait_for_status(*client_, "output 1", source_before_);
        faults_.advance_clock(4000);
        wait_until_active();
    }

    const temporary_directory directory_;
    const std::string item_ = directory_.file("item");
    faults faults_{directory_.file("plan")};
    std::unique_ptr<driver_process> driver_;
    std::unique_ptr<test_client> client_;
    std::string source_before_ = "1,1"; // of output 1, as the backend reports it when it starts
};
