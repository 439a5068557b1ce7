#include "app/gui/status_header.hpp"

#include <QHBoxLayout>
#include <QLabel>

#include "app/gui/gui_style.hpp"
#include "app/gui/gui_texts.hpp"

namespace corvane {

StatusHeader::StatusHeader(QWidget* parent)
    : QFrame(parent), state_(new QLabel(this)), detail_(new QLabel(this)) {
    setObjectName(QStringLiteral("statusHeader"));
    setAutoFillBackground(true);
    setFrameShape(QFrame::NoFrame);
    state_->setObjectName(QStringLiteral("state"));
    state_->setFont(gui_style::emphasised(font(), 5));
    detail_->setObjectName(QStringLiteral("detail"));
    detail_->setFont(gui_style::emphasised(font(), 1, false));
    detail_->setWordWrap(true);

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(16, 10, 16, 10);
    layout->setSpacing(16);
    layout->addWidget(state_);
    layout->addWidget(detail_, 1);
    setStatus(status_);
    applyColours();
}

void StatusHeader::setStatus(const Status& status) {
    const bool stateChanged = status.state != status_.state;
    status_ = status;
    state_->setText(
        gui_texts::headerState(status.state == State::serving, status.state == State::checking));
    detail_->setText(gui_texts::headerDetail(status.card, status.cardHasLink, status.servingFor,
                                             status.nextAddress));
    if (stateChanged) {
        applyColours();
    }
}

QString StatusHeader::stateText() const {
    return state_->text();
}

QString StatusHeader::detailText() const {
    return detail_->text();
}

void StatusHeader::applyColours() {
    const bool serving = status_.state == State::serving;
    QPalette colours = palette();
    colours.setColor(QPalette::Window,
                     serving ? gui_style::servingBackground() : gui_style::panelBackground());
    colours.setColor(QPalette::WindowText,
                     serving ? gui_style::servingText() : colours.color(QPalette::Text));
    setPalette(colours);
    QPalette muted = colours;
    if (!serving) {
        muted.setColor(QPalette::WindowText, gui_style::mutedText());
    }
    detail_->setPalette(muted);
}

} // namespace corvane
