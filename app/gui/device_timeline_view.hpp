#pragma once

#include <QWidget>

#include "app/model/device_timeline.hpp"

class QLabel;
class QPlainTextEdit;

namespace corvane {

// The selected device's exchanges of this run, oldest first, under the one-sentence reason
// its last request went unanswered, when there is one.
class DeviceTimelineView : public QWidget {
    Q_OBJECT

public:
    // Lines shown at once; more scroll.
    static constexpr int visibleLines = 6;

    explicit DeviceTimelineView(QWidget* parent = nullptr);

    // Shows one device's timeline under its MAC address; an empty MAC clears the view.
    void show(const QString& mac, const DeviceTimeline& timeline);

private:
    QLabel* title_;
    QLabel* notAnswered_;
    QPlainTextEdit* lines_;
};

} // namespace corvane
