#pragma once

#include <QMainWindow>
#include <QTimer>
#include <utility>
#include <vector>

class QAction;
class QLabel;
class QMessageBox;
class QPushButton;
class QStackedWidget;
class QVBoxLayout;

namespace corvane {

class AppModel;
class CardPicker;
class ChecklistView;
class CommandDialog;
class DevicePanel;
class DeviceTimelineView;
class LaunchScreen;
class LeaseTableView;
class LogView;
class NoticeBanner;
class SettingsDialog;
class StatusHeader;
class WaitingPanel;

// The program's one window: the launch screen until the model is ready, then the dashboard.
// It draws only what the model holds and passes every user action to the model; it never
// reaches past the model into the server.
class DashboardWindow : public QMainWindow {
    Q_OBJECT

public:
    explicit DashboardWindow(AppModel& model, QWidget* parent = nullptr);
    ~DashboardWindow() override;

    // The parts, for the smoke test and the screenshot tour.
    LaunchScreen& launchScreen() { return *launch_; }
    StatusHeader& statusHeader() { return *header_; }
    QLabel& startHint() { return *status_; }
    CardPicker& cardPicker() { return *cardPicker_; }
    ChecklistView& checklist() { return *checklist_; }
    QPushButton& startButton() { return *start_; }
    QPushButton& stopButton() { return *stop_; }
    DevicePanel& devicePanel() { return *devicePanel_; }
    WaitingPanel& waitingPanel() { return *waitingPanel_; }
    LeaseTableView& leaseTable() { return *leaseTable_; }
    DeviceTimelineView& deviceTimeline() { return *timeline_; }
    LogView& logView() { return *logView_; }
    SettingsDialog& settingsDialog() { return *settingsDialog_; }
    CommandDialog& commandDialog() { return *commandDialog_; }
    QMessageBox& leaseEditConfirmation() { return *confirmation_; }
    // The banners shown, critical ones first.
    std::vector<NoticeBanner*> banners() const;
    bool showsDevicePanel() const;

private:
    QWidget* buildDashboard();
    QWidget* buildSidebar();
    QWidget* buildMain();
    void buildMenus();
    void connectModel();
    void connectWidgets();

    // Log lines and run-state changes arrive in bursts; they are drawn once per burst.
    enum Refresh { logRefresh = 1, stateRefresh = 2 };
    void scheduleRefresh(int parts);
    void refreshScheduled();

    void showPhase();
    void showCards();
    void showChecks();
    void showControls();
    void showHeader();
    // Why Start is disabled, shown under it.
    QString startHintText() const;
    void showBanners();
    void showDevice();
    void showLeases();
    void showLog();
    void showConfig();
    void showSettings();
    void showCommand();
    void showLeaseEditConfirmation();
    void showTimeline();
    void saveCapture();
    void closeSettings(int result);
    void closeCommand();
    void answerLeaseEdit(int button);

    AppModel& model_;
    QTimer tick_;
    QTimer refresh_;
    int pendingRefresh_ = 0;
    std::vector<std::pair<int, QString>> shownBanners_;

    QStackedWidget* pages_ = nullptr;
    LaunchScreen* launch_ = nullptr;
    QVBoxLayout* bannerArea_ = nullptr;
    CardPicker* cardPicker_ = nullptr;
    ChecklistView* checklist_ = nullptr;
    QLabel* configSummary_ = nullptr;
    QPushButton* settings_ = nullptr;
    StatusHeader* header_ = nullptr;
    // Under a disabled Start: what to do first.
    QLabel* status_ = nullptr;
    QPushButton* start_ = nullptr;
    QPushButton* stop_ = nullptr;
    QStackedWidget* panels_ = nullptr;
    DevicePanel* devicePanel_ = nullptr;
    WaitingPanel* waitingPanel_ = nullptr;
    LeaseTableView* leaseTable_ = nullptr;
    DeviceTimelineView* timeline_ = nullptr;
    LogView* logView_ = nullptr;
    SettingsDialog* settingsDialog_ = nullptr;
    CommandDialog* commandDialog_ = nullptr;
    QMessageBox* confirmation_ = nullptr;
    QAction* settingsAction_ = nullptr;
    QAction* saveCapture_ = nullptr;
    QAction* configureCard_ = nullptr;
    QAction* restoreDHCP_ = nullptr;
    QAction* checkForUpdates_ = nullptr;
};

} // namespace corvane
