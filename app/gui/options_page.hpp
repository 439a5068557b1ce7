#pragma once

#include <QWidget>

#include "core/config/settings_form.hpp"

class QLabel;
class QLineEdit;

namespace corvane {

class EditableRows;

// The settings window's Options page: the boot server and file, then a table of extra
// options (code, the name of a known code, value in the --option syntax).
class OptionsPage : public QWidget {
    Q_OBJECT

public:
    explicit OptionsPage(QWidget* parent = nullptr);

    void showForm(const SettingsForm& form);
    // Copies the boot fields and option rows into `form`.
    void fill(SettingsForm& form) const;
    void showMessages(const SettingsForm::Messages& messages);
    QString messagesShown(SettingsForm::Field field) const;

Q_SIGNALS:
    void changed();

private:
    void nameKnownCodes();

    QLineEdit* nextServer_;
    QLineEdit* bootFile_;
    QLabel* bootMessages_;
    EditableRows* table_;
    QLabel* optionMessages_;
};

} // namespace corvane
