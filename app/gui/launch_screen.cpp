#include "app/gui/launch_screen.hpp"

#include <QLabel>
#include <QProgressBar>
#include <QVBoxLayout>

#include "app/gui/gui_style.hpp"
#include "app/gui/gui_texts.hpp"

namespace corvane {

LaunchScreen::LaunchScreen(QWidget* parent) : QWidget(parent) {
    auto* name = new QLabel(gui_texts::applicationName, this);
    name->setFont(gui_style::emphasised(font(), 18));
    name->setAlignment(Qt::AlignHCenter);

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

    auto* layout = new QVBoxLayout(this);
    layout->addStretch(3);
    layout->addWidget(name);
    layout->addWidget(tagline);
    layout->addSpacing(28);
    layout->addWidget(progress, 0, Qt::AlignHCenter);
    layout->addWidget(status);
    layout->addStretch(4);
}

} // namespace corvane
