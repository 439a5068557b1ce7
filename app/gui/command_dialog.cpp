#include "app/gui/command_dialog.hpp"

#include <QClipboard>
#include <QFontMetrics>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "app/gui/gui_style.hpp"
#include "app/gui/gui_texts.hpp"
#include "app/model/app_texts.hpp"

namespace corvane {

CommandDialog::CommandDialog(QWidget* parent)
    : QDialog(parent), title_(new QLabel(this)), lead_(new QLabel(this)),
      warning_(new QLabel(this)), text_(new QPlainTextEdit(this)),
      run_(new QPushButton(gui_texts::toQString(app_texts::runWithPassword), this)),
      copy_(new QPushButton(gui_texts::toQString(app_texts::copyTerminalCommand), this)),
      close_(new QPushButton(gui_texts::cancel, this)) {
    setWindowTitle(gui_texts::commandDialogTitle);
    title_->setFont(gui_style::emphasised(font(), 3));
    title_->setWordWrap(true);
    lead_->setWordWrap(true);
    warning_->setWordWrap(true);
    warning_->setObjectName(QStringLiteral("warning"));
    warning_->setFont(gui_style::emphasised(font(), 0));
    text_->setReadOnly(true);
    text_->setFont(gui_style::monospaceFont());
    text_->setLineWrapMode(QPlainTextEdit::WidgetWidth);
    text_->setFixedHeight(QFontMetrics(text_->font()).lineSpacing() * 6);
    run_->setDefault(true);
    run_->setObjectName(QStringLiteral("run"));
    copy_->setObjectName(QStringLiteral("copyTerminalCommand"));
    close_->setObjectName(QStringLiteral("close"));

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(copy_);
    buttons->addStretch();
    buttons->addWidget(close_);
    buttons->addWidget(run_);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(title_);
    layout->addWidget(lead_);
    layout->addWidget(warning_);
    layout->addWidget(text_, 1);
    layout->addLayout(buttons);
    setMinimumWidth(560);

    connect(run_, &QPushButton::clicked, this, [this] { Q_EMIT runRequested(command_); });
    connect(copy_, &QPushButton::clicked, this,
            [this] { QGuiApplication::clipboard()->setText(terminalCommand()); });
    connect(close_, &QPushButton::clicked, this, &QDialog::reject);
}

void CommandDialog::showConfirmation(const PendingCommand& command) {
    command_ = command;
    failure_ = false;
    title_->setText(QString::fromStdString(command.title));
    lead_->hide();
    warning_->setText(
        command.removesAddresses()
            ? gui_texts::toQString(app_texts::removesAddressesWarning(command.service))
            : QString());
    warning_->setVisible(command.removesAddresses());
    text_->setPlainText(gui_texts::willRun(command.command));
    run_->show();
    close_->setText(gui_texts::cancel);
    setRunning(false);
}

void CommandDialog::showFailure(const PendingCommand& command, const QString& reason) {
    command_ = command;
    failure_ = true;
    title_->setText(QString::fromStdString(command.title));
    lead_->setText(gui_texts::commandFailedLead);
    lead_->show();
    warning_->hide();
    running_ = false;
    close_->setEnabled(true);
    text_->setPlainText(gui_texts::runInTerminalInstead(reason, command.command));
    run_->hide();
    close_->setText(gui_texts::close);
}

void CommandDialog::setRunning(bool running) {
    running_ = running;
    run_->setEnabled(!running);
    close_->setEnabled(!running);
    run_->setText(running ? gui_texts::commandRunning
                          : gui_texts::toQString(app_texts::runWithPassword));
    if (running) {
        lead_->setText(gui_texts::commandRunningLead);
    }
    lead_->setVisible(running || failure_);
}

QString CommandDialog::warningShown() const {
    return warning_->isVisibleTo(this) ? warning_->text() : QString();
}

QString CommandDialog::commandShown() const {
    return text_->toPlainText();
}

QString CommandDialog::terminalCommand() const {
    // After a failure the text shows the bare command, and the copy is that same text.
    return QString::fromStdString(failure_ ? command_.command.line() : command_.command.sudoLine());
}

} // namespace corvane
