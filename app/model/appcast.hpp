#pragma once

#include <QByteArray>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace corvane {

// An update feed: an RSS document whose items each announce one version and where to get
// it, in the form Sparkle made common (a `sparkle:version` element or enclosure attribute,
// a `link` to the release page and an `enclosure` with the download).
struct Appcast {
    struct Item {
        std::string version;
        std::string title;
        // The release page when the item has one, else the download itself.
        std::string page;
        friend bool operator==(const Item&, const Item&) = default;
    };

    // Why a document is not a feed, for the log.
    struct ParseError {
        std::string description;
    };

    std::vector<Item> items;

    static std::variant<Appcast, ParseError> parse(const QByteArray& document);
    // The item with the highest version above `running`, if any.
    std::optional<Item> newestAfter(std::string_view running) const;
};

// Orders version texts such as "1.10.2" and "1.9": numeric parts by number, other parts by
// text, a missing part as zero; "1.2" and "1.2.0" are equal.
int compareVersions(std::string_view left, std::string_view right);

} // namespace corvane
