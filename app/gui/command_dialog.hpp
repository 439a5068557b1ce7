#pragma once

#include <QDialog>

#include "app/model/pending_command.hpp"

class QLabel;
class QPlainTextEdit;
class QPushButton;

namespace corvane {

// Shows an administrator command before anything runs, word for word, and offers to run it
// behind the administrator prompt or to copy it for a terminal. After a failure it shows the
// reason and offers the terminal route instead.
class CommandDialog : public QDialog {
    Q_OBJECT

public:
    explicit CommandDialog(QWidget* parent = nullptr);

    void showConfirmation(const PendingCommand& command);
    void showFailure(const PendingCommand& command, const QString& reason);
    // While the command runs the dialog says so, and Run is held back so that it cannot
    // start twice.
    void setRunning(bool running);
    bool isRunning() const { return running_; }
    // The warning above a command that removes the card's addresses; empty when none.
    QString warningShown() const;

    bool isFailure() const { return failure_; }
    QString commandShown() const;
    // What "Copy Terminal command" puts on the clipboard.
    QString terminalCommand() const;

Q_SIGNALS:
    void runRequested(const corvane::PendingCommand& command);

private:
    PendingCommand command_;
    bool failure_ = false;
    bool running_ = false;
    QLabel* title_;
    QLabel* lead_;
    QLabel* warning_;
    QPlainTextEdit* text_;
    QPushButton* run_;
    QPushButton* copy_;
    QPushButton* close_;
};

} // namespace corvane
