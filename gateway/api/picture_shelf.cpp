#include "picture_shelf.h"

#include <array>
#include <cstdio>
#include <random>

namespace gateway {

namespace {

// By chance, not by the clock: that may be set back.
std::string new_run() {
    std::random_device chance;
    std::array<char, 24> text{};
    std::snprintf(text.data(), text.size(), "%08x%08x", chance(), chance());
    return text.data();
}

} // namespace

picture_shelf::picture_shelf(locks_of_router locks) : locks_(std::move(locks)), started_(new_run()) {}

const written_picture& picture_shelf::of(const shown_router& router) {
    shelved& place = shelf_[router.name];
    const std::string etag = '"' + router.picture.epoch + '-' + started_ + '.' +
                             std::to_string(router.version) + '.' + std::to_string(place.changes) + '"';
    if (place.written.etag != etag) {
        place.written.text =
            std::make_shared<const std::string>(json_text(picture_json(router, locks_(router.name))));
        place.written.etag = etag;
    }
    return place.written;
}

void picture_shelf::changed(const std::string& router) {
    shelf_[router].changes = ++last_change_;
}

void picture_shelf::forget(const std::string& router) {
    shelf_.erase(router);
}

} // namespace gateway
