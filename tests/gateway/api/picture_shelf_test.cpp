#include "gateway/api/picture_shelf.h"

#include "a_router.h"

namespace gateway {
namespace {

TEST(PictureShelf, PictureIsWrittenOnceForEachVersion) {
    picture_shelf shelf([](std::string_view) { return nullptr; });
    shown_router router = a_router();
    const written_picture first = shelf.of(router);
    EXPECT_EQ(shelf.of(router).text.get(), first.text.get());
    EXPECT_TRUE(first.etag.starts_with("\"0123456789abcdef-"));
    router.version++;
    EXPECT_NE(shelf.of(router).text.get(), first.text.get());
    EXPECT_NE(shelf.of(router).etag, first.etag);
}

TEST(PictureShelf, TagsOfTwoRunsDifferWhateverTheClockSays) {
    const locks_of_router no_locks = [](std::string_view) { return nullptr; };
    const shown_router router = a_router();
    EXPECT_NE(picture_shelf(no_locks).of(router).etag, picture_shelf(no_locks).of(router).etag);
}

TEST(PictureShelf, LocksMakeAnotherTagAlsoOfARouterThatWasGone) {
    router_locks locks;
    picture_shelf shelf([&](std::string_view) { return &locks; });
    shown_router router = a_router();
    const std::string free = shelf.of(router).etag;
    locks[2] = {lock_state::lock, 1, "boss", "", 0};
    shelf.changed("studio");
    const std::string locked = shelf.of(router).etag;
    EXPECT_NE(locked, free);
    EXPECT_THAT(*shelf.of(router).text, testing::HasSubstr("boss"));
    shelf.forget("studio");
    router.version++;
    EXPECT_NE(shelf.of(router).etag, locked);
    EXPECT_NE(shelf.of(router).etag, free);
}

} // namespace
} // namespace gateway
