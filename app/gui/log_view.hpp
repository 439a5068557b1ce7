#pragma once

#include <QWidget>
#include <vector>

#include "app/gui/log_model.hpp"

class QLineEdit;
class QListView;
class QPushButton;

namespace corvane {

// The live log: every event as one monospace line, coloured by kind, with a filter, a pause
// that freezes what is shown while lines keep arriving, and a clear that only empties the
// screen. It follows new lines while the user is at the bottom, and stays put otherwise.
class LogView : public QWidget {
    Q_OBJECT

public:
    explicit LogView(QWidget* parent = nullptr);

    void setLines(std::vector<LogLine> lines);
    void setFilter(const QString& filter);
    void setPaused(bool paused);
    LogModel& model() { return model_; }

Q_SIGNALS:
    void filterEdited(const QString& filter);
    void pauseToggled(bool paused);
    void clearRequested();

private:
    LogModel model_;
    QLineEdit* filter_;
    QPushButton* pause_;
    QPushButton* clear_;
    QListView* list_;
};

} // namespace corvane
