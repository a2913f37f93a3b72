#include "item_paths.h"

#include <gtest/gtest.h>

TEST(ItemPaths, StandBesideTheItem) {
    EXPECT_EQ(item_metadata_path("/srv/items/router", ""), "/srv/items/.tavrixmeta.router");
    EXPECT_EQ(item_socket_path("/srv/items/router", ""), "/srv/items/.tavrixsock.router");
    EXPECT_EQ(item_log_path("/srv/items/router", ""), "/srv/items/.tavrixlog.router");
}

TEST(ItemPaths, StandInTheMetadataDirectoryWhenThereIsOne) {
    EXPECT_EQ(item_metadata_path("/srv/items/router", "/run/meta"), "/run/meta/.tavrixmeta.router");
    EXPECT_EQ(item_socket_path("/srv/items/router", "/run/meta/"), "/run/meta/.tavrixsock.router");
    EXPECT_EQ(item_log_path("router", "/"), "/.tavrixlog.router");
}

TEST(ItemPaths, KeepExtensionsAndBlanks) {
    EXPECT_EQ(item_socket_path("/srv/Studio 1/main router.item", ""),
              "/srv/Studio 1/.tavrixsock.main router.item");
}

TEST(ItemPaths, OfAnItemInTheCurrentDirectory) {
    EXPECT_EQ(item_socket_path("router", ""), "./.tavrixsock.router");
    EXPECT_EQ(item_socket_path("./router", ""), "./.tavrixsock.router");
    EXPECT_EQ(item_socket_path("../router", ""), "../.tavrixsock.router");
}

TEST(ItemPaths, OfAnItemInTheRootDirectory) {
    EXPECT_EQ(item_socket_path("/router", ""), "/.tavrixsock.router");
    EXPECT_EQ(item_socket_path("//router", ""), "/.tavrixsock.router");
}

TEST(ItemPaths, DirectoryHasNoTrailingSlash) {
    EXPECT_EQ(item_directory("/srv/items/router"), "/srv/items");
    EXPECT_EQ(item_directory("/srv/items//router"), "/srv/items");
    EXPECT_EQ(item_directory("items/"), "items");
    EXPECT_EQ(item_directory("/router"), "/");
    EXPECT_EQ(item_directory("///router"), "/");
    EXPECT_EQ(item_directory("router"), ".");
    EXPECT_EQ(item_directory(""), ".");
}

TEST(ItemPaths, FileNameIsEmptyWhenThePathNamesNoFile) {
    EXPECT_EQ(item_file_name("/srv/items/router"), "router");
    EXPECT_EQ(item_file_name("router"), "router");
    EXPECT_EQ(item_file_name("/srv/items/"), "");
    EXPECT_EQ(item_file_name(""), "");
}
