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

    // `serving` false shows the last device of a stopped server: greyed, with when it was
    // last seen instead of a running countdown.
    void setDevice(const Lease& lease, std::optional<PresenceState> presence, TimePoint now,
                   bool serving = true);
    bool isServing() const { return serving_; }
    QString headlineText() const;

    // The shown texts, for the window and its smoke test.
    QString addressText() const;
    QString macText() const;
    QString leaseLeftText() const;
    QString presenceText() const;

Q_SIGNALS:
    void openInBrowserRequested(const QString& ip);

private:
    QLabel* headline_;
    QLabel* leaseLeftName_ = nullptr;
    bool serving_ = true;
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
