#pragma once

#include <optional>
#include <string>
#include <variant>

namespace corvane {

// What a trial bind of UDP port 67 found.
struct Port67InUse {
    // The program holding the port, when it could be named.
    std::optional<std::string> holder;
    friend bool operator==(const Port67InUse&, const Port67InUse&) = default;
};

// The port cannot be opened for another reason; the text says why.
struct Port67Error {
    std::string text;
    friend bool operator==(const Port67Error&, const Port67Error&) = default;
};

struct Port67Free {
    friend bool operator==(const Port67Free&, const Port67Free&) = default;
};

using Port67State = std::variant<Port67InUse, Port67Error, Port67Free>;

} // namespace corvane
