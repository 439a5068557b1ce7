#include "app/gui/options_page.hpp"

#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include "app/gui/editable_rows.hpp"
#include "app/gui/gui_texts.hpp"
#include "app/gui/settings_page_parts.hpp"
#include "core/options/option_catalog.hpp"
#include "core/options/option_value.hpp"

namespace corvane {
namespace {

enum Column { codeColumn, nameColumn, valueColumn };

} // namespace

OptionsPage::OptionsPage(QWidget* parent)
    : QWidget(parent), nextServer_(new QLineEdit(this)), bootFile_(new QLineEdit(this)),
      bootMessages_(settings_parts::messageLabel(this)),
      table_(new EditableRows(QStringLiteral("options"),
                              {{gui_texts::optionCode, 60, true},
                               {gui_texts::optionName, 170, false},
                               {gui_texts::optionValue, 0, true}},
                              this)),
      optionMessages_(settings_parts::messageLabel(this)) {
    setObjectName(QStringLiteral("optionsPage"));
    nextServer_->setObjectName(QStringLiteral("nextServer"));
    nextServer_->setPlaceholderText(gui_texts::optionalPlaceholder);
    bootFile_->setObjectName(QStringLiteral("bootFile"));
    bootFile_->setPlaceholderText(gui_texts::optionalPlaceholder);

    auto* boot = new QFormLayout;
    boot->addRow(gui_texts::bootServer, nextServer_);
    boot->addRow(gui_texts::bootFile, bootFile_);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(boot);
    layout->addWidget(bootMessages_);
    auto* hint = new QLabel(gui_texts::optionsHint, this);
    hint->setWordWrap(true);
    layout->addWidget(hint);
    layout->addWidget(table_, 1);
    layout->addWidget(optionMessages_);

    connect(table_, &EditableRows::changed, this, [this] {
        nameKnownCodes();
        Q_EMIT changed();
    });
    for (auto* edit : {nextServer_, bootFile_}) {
        connect(edit, &QLineEdit::textChanged, this, &OptionsPage::changed);
    }
}

void OptionsPage::showForm(const SettingsForm& form) {
    const QSignalBlocker quietServer(nextServer_), quietFile(bootFile_);
    nextServer_->setText(QString::fromStdString(form.nextServer));
    bootFile_->setText(QString::fromStdString(form.bootFile));
    std::vector<QStringList> rows;
    for (const auto& option : form.options) {
        rows.push_back(
            {QString::fromStdString(option.code), QString(), QString::fromStdString(option.value)});
    }
    table_->showRows(rows);
    nameKnownCodes();
}

void OptionsPage::fill(SettingsForm& form) const {
    form.nextServer = nextServer_->text().toStdString();
    form.bootFile = bootFile_->text().toStdString();
    form.options.clear();
    for (const auto& texts : table_->rows()) {
        form.options.push_back(
            {texts[codeColumn].trimmed().toStdString(), texts[valueColumn].toStdString()});
    }
}

void OptionsPage::showMessages(const SettingsForm::Messages& messages) {
    settings_parts::showMessagesOf(bootMessages_, messages, SettingsForm::Field::boot);
    settings_parts::showMessagesOf(optionMessages_, messages, SettingsForm::Field::options);
}

QString OptionsPage::messagesShown(SettingsForm::Field field) const {
    const auto* label = field == SettingsForm::Field::boot ? bootMessages_ : optionMessages_;
    return label->isHidden() ? QString() : label->text();
}

void OptionsPage::nameKnownCodes() {
    const auto rows = table_->rows();
    for (int row = 0; row < static_cast<int>(rows.size()); ++row) {
        const auto code =
            parseOptionCode(rows[static_cast<std::size_t>(row)][codeColumn].toStdString());
        const auto known = code ? knownOption(*code) : std::nullopt;
        table_->setDerivedText(row, nameColumn,
                               known ? QString::fromUtf8(known->name.data(),
                                                         static_cast<qsizetype>(known->name.size()))
                                     : QString());
    }
}

} // namespace corvane
