#include "app/gui/launch_screen.hpp"

#include <QApplication>
#include <QLabel>
#include <QProgressBar>
#include <QVBoxLayout>

#include "app/gui/app_icon.hpp"
#include "app/gui/gui_style.hpp"
#include "app/gui/gui_texts.hpp"

namespace corvane {

LaunchScreen::LaunchScreen(QWidget* parent) : QWidget(parent) {
    auto* icon = new QLabel(this);
    icon->setPixmap(appIconPixmap(112));
    icon->setAlignment(Qt::AlignHCenter);

    auto* name = new QLabel(gui_texts::applicationName, this);
    name->setFont(gui_style::emphasised(font(), 18));
    name->setAlignment(Qt::AlignHCenter);

    auto* version = new QLabel(gui_texts::version(QApplication::applicationVersion()), this);
    version->setAlignment(Qt::AlignHCenter);
    version->setObjectName(QStringLiteral("version"));

    auto* tagline = new QLabel(gui_texts::tagline, this);
    tagline->setFont(gui_style::emphasised(font(), 2, false));
    tagline->setAlignment(Qt::AlignHCenter);

    auto* progress = new QProgressBar(this);
    progress->setRange(0, 0);
    progress->setTextVisible(false);
    progress->setFixedWidth(240);

    auto* status = new QLabel(gui_texts::launching, this);
    status->setAlignment(Qt::AlignHCenter);
    QPalette muted = status->palette();
    muted.setColor(QPalette::WindowText, gui_style::mutedText());
    status->setPalette(muted);
    version->setPalette(muted);

    auto* layout = new QVBoxLayout(this);
    layout->addStretch(3);
    layout->addWidget(icon);
    layout->addSpacing(8);
    layout->addWidget(name);
    layout->addWidget(version);
    layout->addSpacing(4);
    layout->addWidget(tagline);
    layout->addSpacing(28);
    layout->addWidget(progress, 0, Qt::AlignHCenter);
    layout->addWidget(status);
    layout->addStretch(4);
}

} // namespace corvane
