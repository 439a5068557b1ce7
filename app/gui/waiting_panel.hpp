#pragma once

#include <QFrame>
#include <optional>

#include "core/address/ipv4_address.hpp"

class QLabel;
class QPushButton;

namespace corvane {

// Shown until a device has been found: the address the next device will get, what to do to
// make a device ask, and a tcpdump command for seeing what really crosses the cable.
class WaitingPanel : public QFrame {
    Q_OBJECT

public:
    explicit WaitingPanel(QWidget* parent = nullptr);

    // `card` is the display name of the served (or chosen) card; empty when there is none.
    void setStatus(bool running, const QString& card);
    void setNextAddress(std::optional<IPv4Address> next);
    void setTcpdumpCommand(const QString& command);
    void setHintShown(bool shown);

    QString instructionsText() const;
    QString nextAddressText() const;
    QString tcpdumpCommand() const;
    bool isHintShown() const;

private:
    QLabel* headline_;
    QLabel* nextAddress_;
    QLabel* instructions_;
    QLabel* tcpdump_;
    QPushButton* copyTcpdump_;
    QLabel* hint_;
};

} // namespace corvane
