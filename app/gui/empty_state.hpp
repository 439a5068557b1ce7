#pragma once

#include <QLabel>

class QAbstractItemView;

namespace corvane {

// A sentence drawn inside an empty list or table, saying what will appear there and when,
// so that an empty box never looks broken. It hides itself as soon as the view has rows.
class EmptyState : public QLabel {
    Q_OBJECT

public:
    EmptyState(QAbstractItemView* view, const QString& text);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void follow();

    QAbstractItemView* view_;
};

} // namespace corvane
