// Under which subjects sites speak to each other.
//
//  vr.SITE.alive               the site is there, with its beat and its routers
//  vr.SITE.ROUTER.evt          what has changed of a router
//  vr.SITE.ROUTER.get          asks the owner for a page of its picture
//  vr.SITE.ROUTER.take.FROM    asks the owner for takes; FROM is the site that asks
//  vr.SITE.ROUTER.name.FROM    asks the owner for a name
//  vi.SITE.RUN.NUMBER          answers to what SITE has asked
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace gateway {

// Letters, digits, '-' and '_' as they are, each other byte as "=XX".
std::string escaped_name(std::string_view name);
// Nothing for what escaped_name() never writes.
std::optional<std::string> name_of_escaped(std::string_view text);

// `site` and `from` are names of sites, `router` is a router's name there, or "*" where all are meant.
std::string alive_subject(std::string_view site);
std::string router_subject(std::string_view site, std::string_view router, std::string_view what,
                           std::string_view from = {});

struct router_address {
    std::string site, router;
    std::string what; // "evt", "get", "take", "name"
    std::string from; // of take and name
};
// Nothing for any other subject.
std::optional<router_address> router_address_of(std::string_view subject);

// Where SITE hears the answers to what its gateway of that run has asked: this and a number.
std::string inbox_of(std::string_view site, std::string_view run);
bool is_inbox(std::string_view subject); // of any site
bool is_in_inbox_of(std::string_view subject, std::string_view site);

// How a router of another site is called here: "SITE:ROUTER".
std::string far_name(std::string_view site, std::string_view router);

} // namespace gateway
