#pragma once

#include <QFrame>

class QLabel;
class QPushButton;

namespace corvane {

// One problem the user should see, across the top of the dashboard. Critical problems (no
// device can be served) are red and bold; the others are a quieter amber. Every banner can
// be dismissed; the window decides what dismissing means.
class NoticeBanner : public QFrame {
    Q_OBJECT

public:
    explicit NoticeBanner(QWidget* parent = nullptr);

    void setNotice(const QString& message, bool critical);
    QString message() const;
    bool isCritical() const { return critical_; }

Q_SIGNALS:
    void dismissed();

private:
    QLabel* symbol_;
    QLabel* text_;
    QPushButton* dismiss_;
    bool critical_ = false;
};

} // namespace corvane
