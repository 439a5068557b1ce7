#pragma once

#include <QWidget>

namespace corvane {

// What the user sees while the cards are listed and the lease file is read.
class LaunchScreen : public QWidget {
    Q_OBJECT

public:
    explicit LaunchScreen(QWidget* parent = nullptr);
};

} // namespace corvane
