#include "item_place.h"
#include "known_routers.h"
#include "written_file.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace {

// Directories of the test's own in the places of the installed ones.
class ItemPlace : public testing::Test {
protected:
    void SetUp() override {
        for (const char* name : {"items", "run"})
            std::filesystem::create_directory(root.file(name));
        setenv("VRDX_ITEMS", root.file("items").c_str(), 1);
        setenv("VRDX_RUN", (root.file("run") + "/").c_str(), 1);
    }
    void TearDown() override {
        unsetenv("VRDX_ITEMS");
        unsetenv("VRDX_RUN");
    }

    temporary_directory root;
};

} // namespace

TEST_F(ItemPlace, ShortNameIsAnInstalledItem) {
    const item_place place = place_of_item("studio", "");
    EXPECT_EQ(place.item, root.file("items/studio.item"));
    EXPECT_EQ(place.socket, root.file("run/studio.sock"));
    EXPECT_EQ(place.log, "/var/lib/vrdx/.tavrixlog.studio.item");
    EXPECT_EQ(place.name, "studio");
    EXPECT_EQ(place_of_item("studio.item", "").name, "studio");
    EXPECT_EQ(place_of_item("studio", "/srv/meta").log, "/srv/meta/.tavrixlog.studio.item");
    EXPECT_EQ(place_of_item("studio", "/srv/meta").socket, root.file("run/studio.sock"));
}

TEST_F(ItemPlace, PathStaysAPath) {
    const item_place place = place_of_item("./studio", "");
    EXPECT_EQ(place.item, "./studio");
    EXPECT_EQ(place.socket, "./.tavrixsock.studio");
    EXPECT_EQ(place.log, "./.tavrixlog.studio");
    EXPECT_EQ(place.name, "");
}

TEST_F(ItemPlace, PathOfAnInstalledItemIsAdvisedAgainst) {
    EXPECT_EQ(advice_on(place_of_item(root.file("items/studio.item"), "")),
              " (an installed item is called by its name: \"vrdx_routectl studio\")");
    EXPECT_EQ(advice_on(place_of_item(root.file("items/studio"), "")), "");
    EXPECT_EQ(advice_on(place_of_item("/srv/studio.item", "")), "");
    EXPECT_EQ(advice_on(place_of_item("studio", "")), " (\"vrdx_routectl list\" shows all routers)");
}

TEST_F(ItemPlace, FileOfThatNameComesFirst) {
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(root.path());
    write_file("studio", "driver=route_x\n");
    const item_place place = place_of_item("studio", "");
    std::filesystem::current_path(before);
    EXPECT_EQ(place.socket, "./.tavrixsock.studio");
    EXPECT_EQ(place.name, "");
}

TEST_F(ItemPlace, FileNameIsAShortNameWhereTheItemsAreInstalled) {
    write_file(root.file("items/studio.item"), "");
    write_file(root.file("items/notes"), "");
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(root.file("items"));
    const item_place installed = place_of_item("studio.item", "");
    const item_place other = place_of_item("notes", "");
    std::filesystem::current_path(before);
    EXPECT_EQ(installed.name, "studio");
    EXPECT_EQ(installed.socket, root.file("run/studio.sock"));
    EXPECT_EQ(other.name, "");
}

TEST_F(ItemPlace, DirectoriesHaveTheirInstalledPlaces) {
    TearDown();
    EXPECT_EQ(items_directory(), "/etc/vrdx/items");
    EXPECT_EQ(run_directory(), "/run/vrdx");
    setenv("VRDX_RUN", "", 1);
    EXPECT_EQ(run_directory(), "/run/vrdx");
}

TEST_F(ItemPlace, ItemsAndSocketsMakeTheKnownRouters) {
    for (const char* name : {"items/b.item", "items/a.item", "items/a.item.bak", "items/.item",
                             "items/.hidden.item", "run/b.sock", "run/c.sock", "run/other"})
        write_file(root.file(name), "");
    std::vector<item_place> routers;
    std::string error;
    ASSERT_EQ(find_known_routers(&routers, &error), 0) << error;
    ASSERT_EQ(routers.size(), 3U);
    EXPECT_EQ(routers[0].name, "a");
    EXPECT_EQ(routers[0].socket, "");
    EXPECT_EQ(routers[1].item, root.file("items/b.item"));
    EXPECT_EQ(routers[1].socket, root.file("run/b.sock"));
    EXPECT_EQ(routers[2].item, "");
    EXPECT_EQ(routers[2].socket, root.file("run/c.sock"));
}

TEST_F(ItemPlace, MissingDirectoriesHoldNoRouters) {
    std::filesystem::remove(root.file("items"));
    std::filesystem::remove(root.file("run"));
    std::vector<item_place> routers;
    std::string error;
    EXPECT_EQ(find_known_routers(&routers, &error), 0);
    EXPECT_TRUE(routers.empty());
}

TEST_F(ItemPlace, FileInTheDirectorysPlaceIsTold) {
    std::filesystem::remove(root.file("items"));
    write_file(root.file("items"), "");
    write_file(root.file("run/c.sock"), "");
    std::vector<item_place> routers;
    std::string error;
    EXPECT_EQ(find_known_routers(&routers, &error), -1);
    EXPECT_EQ(error, "cannot read " + root.file("items") + ": Not a directory");
    EXPECT_EQ(routers.size(), 1U);
}
