#pragma once

#include <QFrame>
#include <QString>
#include <chrono>
#include <optional>

#include "core/address/ipv4_address.hpp"

class QLabel;

namespace corvane {

// The strip across the top of the dashboard that says, in one look, whether Corvane is
// serving, on which card, for how long, and which address the next device gets.
class StatusHeader : public QFrame {
    Q_OBJECT

public:
    enum class State { stopped, checking, serving };
    struct Status {
        State state = State::stopped;
        // The card's title; empty when none is chosen.
        QString card;
        bool cardHasLink = false;
        std::optional<std::chrono::seconds> servingFor;
        std::optional<IPv4Address> nextAddress;
        friend bool operator==(const Status&, const Status&) = default;
    };

    explicit StatusHeader(QWidget* parent = nullptr);

    void setStatus(const Status& status);
    QString stateText() const;
    QString detailText() const;

private:
    void applyColours();

    Status status_;
    QLabel* state_;
    QLabel* detail_;
};

} // namespace corvane
