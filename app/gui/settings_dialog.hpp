#pragma once

#include <QDialog>
#include <map>
#include <optional>
#include <vector>

#include "core/config/server_config.hpp"
#include "core/config/settings_form.hpp"

class QComboBox;
class QDialogButtonBox;
class QLabel;
class QLineEdit;
class QTabWidget;

namespace corvane {

class OptionsPage;
class ReservationsPage;

// The settings sheet: the server's address and prefix, the address range with its size, the
// lease time as a preset or typed, the gateway and the DNS servers. Every area shows its own
// messages under its fields as the user types, and Save stays off until the form is valid.
class SettingsDialog : public QDialog {
    Q_OBJECT

public:
    explicit SettingsDialog(QWidget* parent = nullptr);

    void setConfig(const ServerConfig& config);
    void setForm(const SettingsForm& form);
    SettingsForm form() const;
    // The configuration the form stands for, when it passes every rule.
    std::optional<ServerConfig> config() const { return form().config(); }

    // What is shown under an area and beside the range, for the smoke test and screenshots.
    QString messagesShown(SettingsForm::Field field) const;
    QString rangeCountShown() const;
    bool canSave() const;
    // True when the area's fields are outlined as the ones at fault.
    bool isOutlined(SettingsForm::Field field) const;

    // The Reservations and Options pages, and a way to bring one to the front.
    ReservationsPage& reservationsPage() { return *reservations_; }
    OptionsPage& optionsPage() { return *options_; }
    void showPage(QWidget& page);

private:
    void evaluate();
    std::vector<QLineEdit*> editsOf(SettingsForm::Field field) const;
    void outline(SettingsForm::Field field, bool atFault);
    // A line edit named after its field, so that tests and tools can find it.
    QLineEdit* textField(const char* name, const QString& placeholder);

    QLineEdit* serverIP_;
    QLineEdit* prefix_;
    QLineEdit* rangeStart_;
    QLineEdit* rangeEnd_;
    QLabel* rangeCount_;
    QComboBox* leasePreset_;
    QLineEdit* customLease_;
    QLineEdit* router_;
    QLineEdit* dns_;
    std::map<SettingsForm::Field, QLabel*> messages_;
    QDialogButtonBox* buttons_;
    QTabWidget* tabs_;
    ReservationsPage* reservations_;
    OptionsPage* options_;
};

} // namespace corvane
