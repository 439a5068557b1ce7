#include "app/model/appcast.hpp"

#include <QXmlStreamReader>
#include <algorithm>
#include <cctype>

namespace corvane {

namespace {

std::string text(QStringView view) {
    return view.toString().trimmed().toStdString();
}

// Reads one <item> up to its end tag; the reader stands on its start tag.
Appcast::Item readItem(QXmlStreamReader& reader) {
    Appcast::Item item;
    std::string link;
    std::string download;
    while (reader.readNextStartElement()) {
        const auto name = reader.name();
        if (name == u"enclosure") {
            const auto attributes = reader.attributes();
            download = text(attributes.value("url"));
            for (const auto& attribute : attributes) {
                if (attribute.name() == u"version" && item.version.empty()) {
                    item.version = text(attribute.value());
                }
            }
            reader.skipCurrentElement();
        } else if (name == u"version") {
            item.version = text(reader.readElementText());
        } else if (name == u"title") {
            item.title = text(reader.readElementText());
        } else if (name == u"link") {
            link = text(reader.readElementText());
        } else {
            reader.skipCurrentElement();
        }
    }
    item.page = link.empty() ? download : link;
    return item;
}

bool isNumber(std::string_view part) {
    return !part.empty() && std::all_of(part.begin(), part.end(), [](unsigned char character) {
        return std::isdigit(character) != 0;
    });
}

std::vector<std::string_view> versionParts(std::string_view version) {
    std::vector<std::string_view> parts;
    std::size_t begin = 0;
    while (begin <= version.size()) {
        const auto end = version.find_first_of(".-+", begin);
        const auto stop = end == std::string_view::npos ? version.size() : end;
        parts.push_back(version.substr(begin, stop - begin));
        begin = stop + 1;
    }
    return parts;
}

int comparePart(std::string_view left, std::string_view right) {
    const bool leftNumber = isNumber(left);
    const bool rightNumber = isNumber(right);
    if (leftNumber != rightNumber) {
        // "1.0" is newer than "1.0-beta": a number outranks a pre-release word.
        return leftNumber ? 1 : -1;
    }
    if (leftNumber) {
        left.remove_prefix(std::min(left.find_first_not_of('0'), left.size()));
        right.remove_prefix(std::min(right.find_first_not_of('0'), right.size()));
        if (left.size() != right.size()) {
            return left.size() < right.size() ? -1 : 1;
        }
    }
    const int order = left.compare(right);
    return order < 0 ? -1 : (order > 0 ? 1 : 0);
}

} // namespace

std::variant<Appcast, Appcast::ParseError> Appcast::parse(const QByteArray& document) {
    QXmlStreamReader reader(document);
    if (!reader.readNextStartElement() || reader.name() != u"rss") {
        if (reader.hasError()) {
            return ParseError{"XML error on line " + std::to_string(reader.lineNumber()) + ": " +
                              reader.errorString().toStdString()};
        }
        return ParseError{"the document is not an RSS feed"};
    }
    Appcast appcast;
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.isStartElement() && reader.name() == u"item") {
            Item item = readItem(reader);
            if (!item.version.empty() && !item.page.empty()) {
                appcast.items.push_back(std::move(item));
            }
        }
    }
    if (reader.hasError()) {
        return ParseError{"XML error on line " + std::to_string(reader.lineNumber()) + ": " +
                          reader.errorString().toStdString()};
    }
    return appcast;
}

std::optional<Appcast::Item> Appcast::newestAfter(std::string_view running) const {
    std::optional<Item> newest;
    for (const auto& item : items) {
        if (compareVersions(item.version, running) > 0 &&
            (!newest || compareVersions(item.version, newest->version) > 0)) {
            newest = item;
        }
    }
    return newest;
}

int compareVersions(std::string_view left, std::string_view right) {
    const auto leftParts = versionParts(left);
    const auto rightParts = versionParts(right);
    const auto count = std::max(leftParts.size(), rightParts.size());
    for (std::size_t index = 0; index < count; ++index) {
        const auto leftPart = index < leftParts.size() ? leftParts[index] : "0";
        const auto rightPart = index < rightParts.size() ? rightParts[index] : "0";
        if (const int order = comparePart(leftPart, rightPart); order != 0) {
            return order;
        }
    }
    return 0;
}

} // namespace corvane
