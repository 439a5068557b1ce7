#include "app/gui/waiting_panel.hpp"

#include <QClipboard>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

#include "app/gui/gui_style.hpp"
#include "app/gui/gui_texts.hpp"
#include "app/model/app_texts.hpp"

namespace corvane {

WaitingPanel::WaitingPanel(QWidget* parent)
    : QFrame(parent), headline_(new QLabel(this)), nextAddress_(new QLabel(this)),
      instructions_(new QLabel(this)), tcpdump_(new QLabel(this)),
      copyTcpdump_(new QPushButton(gui_texts::toQString(app_texts::copyTcpdumpCommand), this)),
      hint_(new QLabel(this)) {
    setFrameShape(QFrame::StyledPanel);
    headline_->setFont(gui_style::emphasised(font(), 5));
    nextAddress_->setFont(gui_style::emphasised(font(), 2, false));
    nextAddress_->setTextFormat(Qt::PlainText);
    instructions_->setWordWrap(true);
    tcpdump_->setFont(gui_style::monospaceFont());
    tcpdump_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    tcpdump_->setWordWrap(true);
    hint_->setWordWrap(true);
    hint_->setText(gui_texts::toQString(app_texts::waitingHint));
    QPalette warning = hint_->palette();
    warning.setColor(QPalette::WindowText, gui_style::statusColor(PreflightCheck::Status::warn));
    hint_->setPalette(warning);
    hint_->hide();

    auto* command = new QHBoxLayout;
    command->addWidget(tcpdump_, 1);
    command->addWidget(copyTcpdump_, 0, Qt::AlignTop);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 14, 16, 14);
    layout->setSpacing(8);
    layout->addWidget(headline_);
    layout->addWidget(nextAddress_);
    layout->addWidget(instructions_);
    layout->addLayout(command);
    layout->addWidget(hint_);
    layout->addStretch();

    connect(copyTcpdump_, &QPushButton::clicked, this, [this] {
        QGuiApplication::clipboard()->setText(tcpdump_->text());
        copyTcpdump_->setText(gui_texts::copied);
        QTimer::singleShot(std::chrono::seconds(2), copyTcpdump_, [button = copyTcpdump_] {
            button->setText(gui_texts::toQString(app_texts::copyTcpdumpCommand));
        });
    });
    setStatus(false, {});
}

void WaitingPanel::setStatus(bool running, const QString& card) {
    headline_->setText(running ? gui_texts::waitingForDevice : gui_texts::notServing);
    instructions_->setText(running ? gui_texts::waitingInstructions
                                   : gui_texts::stoppedInstructions(card));
}

void WaitingPanel::setNextAddress(std::optional<IPv4Address> next) {
    nextAddress_->setText(next ? gui_texts::readyToHandOut(*next) : gui_texts::rangeExhausted);
}

void WaitingPanel::setTcpdumpCommand(const QString& command) {
    tcpdump_->setText(command);
}

void WaitingPanel::setHintShown(bool shown) {
    hint_->setVisible(shown);
}

QString WaitingPanel::instructionsText() const {
    return instructions_->text();
}
QString WaitingPanel::nextAddressText() const {
    return nextAddress_->text();
}
QString WaitingPanel::tcpdumpCommand() const {
    return tcpdump_->text();
}
bool WaitingPanel::isHintShown() const {
    return !hint_->isHidden();
}

} // namespace corvane
