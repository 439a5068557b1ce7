#pragma once

#include <QFrame>
#include <optional>

#include "core/leases/lease.hpp"
#include "core/presence/presence_state.hpp"

class QLabel;
class QPushButton;

namespace corvane {

// The device that completed a DHCP exchange: what it is called, which address it holds,
// for how much longer, and whether it still answers.
class DevicePanel : public QFrame {
    Q_OBJECT

public:
    explicit DevicePanel(QWidget* parent = nullptr);

    void setDevice(const Lease& lease, std::optional<PresenceState> presence, TimePoint now);

    // The shown texts, for the window and its smoke test.
    QString addressText() const;
    QString macText() const;
    QString leaseLeftText() const;
    QString presenceText() const;

Q_SIGNALS:
    void openInBrowserRequested(const QString& ip);

private:
    QLabel* headline_;
    QLabel* address_;
    QLabel* mac_;
    QLabel* maker_;
    QLabel* hostname_;
    QLabel* vendorClass_;
    QLabel* leaseLeft_;
    QLabel* presence_;
    QPushButton* openInBrowser_;
};

} // namespace corvane
