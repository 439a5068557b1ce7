#pragma once

#include <QDir>
#include <QPixmap>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <chrono>
#include <functional>
#include <optional>

namespace corvane {

class AppModel;
class DashboardWindow;

// Drives the real model and the real window through the program's main states and saves
// each as a PNG, for the documentation. Serving states need a card that is safe to serve on
// (a veth in a network namespace made for the tour) and, for the found device, a command that
// starts a DHCP client at the other end of that cable; without them those states are skipped
// with a message.
class ScreenshotTour {
public:
    struct Options {
        QDir output;
        // The card to serve on; no value renders only the states that need no server.
        std::optional<QString> card;
        // Program and arguments of the device's DHCP client; empty skips the found device.
        QStringList deviceCommand;
        // The card starts without link (administratively down in the tour's namespace); the
        // tour shows that first launch, then brings it up.
        bool cardStartsDown = false;
        // Appended to every file name, such as "-dark" for the dark palette's run.
        QString suffix;
    };

    ScreenshotTour(AppModel& model, DashboardWindow& window, Options options);
    ~ScreenshotTour();
    ScreenshotTour(const ScreenshotTour&) = delete;
    ScreenshotTour& operator=(const ScreenshotTour&) = delete;

    // Takes every screenshot it can; false (with the reason on standard error) when a state
    // could not be reached in time or a file could not be written.
    bool run();

private:
    bool launch();
    bool dashboard();
    bool failingChecks();
    bool running();
    bool cardWithoutLink();
    bool deviceFound();
    bool deviceTimeline();
    bool stoppedWithLastDevice();
    bool criticalBanner();
    bool settingsWithErrors();
    // The Reservations and Options pages filled as a lab would, one mistake on each.
    bool labSettingsPages();

    bool reach(const char* state, const std::function<bool()>& condition,
               std::chrono::milliseconds limit = std::chrono::seconds(20));
    bool save(const QString& name, const QPixmap& picture);
    QPixmap window();
    // The window dimmed, with a dialog drawn over it where the window system would show it.
    QPixmap windowWith(QWidget& dialog);
    bool checksSettled() const;

    AppModel& model_;
    DashboardWindow& window_;
    Options options_;
    QProcess device_;
};

} // namespace corvane
