#include "app/gui/options_page.hpp"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalBlocker>
#include <QTableWidget>
#include <QVBoxLayout>

#include "app/gui/gui_texts.hpp"
#include "app/gui/settings_page_parts.hpp"
#include "core/options/option_catalog.hpp"
#include "core/options/option_value.hpp"

namespace corvane {
namespace {

enum Column { codeColumn, nameColumn, valueColumn, columnCount };

QString cellText(const QTableWidget* table, int row, int column) {
    const auto* item = table->item(row, column);
    return item != nullptr ? item->text() : QString();
}

void setRow(QTableWidget* table, int row, const SettingsForm::OptionRow& option) {
    table->setItem(row, codeColumn, new QTableWidgetItem(QString::fromStdString(option.code)));
    auto* name = new QTableWidgetItem;
    name->setFlags(name->flags() & ~Qt::ItemIsEditable);
    table->setItem(row, nameColumn, name);
    table->setItem(row, valueColumn, new QTableWidgetItem(QString::fromStdString(option.value)));
}

} // namespace

OptionsPage::OptionsPage(QWidget* parent)
    : QWidget(parent), nextServer_(new QLineEdit(this)), bootFile_(new QLineEdit(this)),
      bootMessages_(settings_parts::messageLabel(this)),
      table_(new QTableWidget(0, columnCount, this)),
      optionMessages_(settings_parts::messageLabel(this)) {
    setObjectName(QStringLiteral("optionsPage"));
    nextServer_->setObjectName(QStringLiteral("nextServer"));
    nextServer_->setPlaceholderText(gui_texts::optionalPlaceholder);
    bootFile_->setObjectName(QStringLiteral("bootFile"));
    bootFile_->setPlaceholderText(gui_texts::optionalPlaceholder);
    table_->setObjectName(QStringLiteral("options"));
    table_->setHorizontalHeaderLabels(
        {gui_texts::optionCode, gui_texts::optionName, gui_texts::optionValue});
    table_->horizontalHeader()->setStretchLastSection(true);
    table_->verticalHeader()->hide();
    table_->setColumnWidth(codeColumn, 60);
    table_->setColumnWidth(nameColumn, 170);

    auto* boot = new QFormLayout;
    boot->addRow(gui_texts::bootServer, nextServer_);
    boot->addRow(gui_texts::bootFile, bootFile_);
    auto* add = new QPushButton(gui_texts::addRow, this);
    auto* remove = new QPushButton(gui_texts::removeRow, this);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(add);
    buttons->addWidget(remove);
    buttons->addStretch();
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(boot);
    layout->addWidget(bootMessages_);
    auto* hint = new QLabel(gui_texts::optionsHint, this);
    hint->setWordWrap(true);
    layout->addWidget(hint);
    layout->addWidget(table_, 1);
    layout->addLayout(buttons);
    layout->addWidget(optionMessages_);

    connect(add, &QPushButton::clicked, this, [this] {
        const int row = table_->rowCount();
        table_->insertRow(row);
        setRow(table_, row, {});
        table_->setCurrentCell(row, codeColumn);
        Q_EMIT changed();
    });
    connect(remove, &QPushButton::clicked, this, [this] {
        if (table_->currentRow() >= 0) {
            table_->removeRow(table_->currentRow());
            Q_EMIT changed();
        }
    });
    connect(table_, &QTableWidget::itemChanged, this, [this] {
        nameKnownCodes();
        Q_EMIT changed();
    });
    for (auto* edit : {nextServer_, bootFile_}) {
        connect(edit, &QLineEdit::textChanged, this, &OptionsPage::changed);
    }
}

void OptionsPage::showForm(const SettingsForm& form) {
    const QSignalBlocker quietTable(table_), quietServer(nextServer_), quietFile(bootFile_);
    nextServer_->setText(QString::fromStdString(form.nextServer));
    bootFile_->setText(QString::fromStdString(form.bootFile));
    table_->setRowCount(static_cast<int>(form.options.size()));
    for (int row = 0; row < table_->rowCount(); ++row) {
        setRow(table_, row, form.options[static_cast<std::size_t>(row)]);
    }
    nameKnownCodes();
}

void OptionsPage::fill(SettingsForm& form) const {
    form.nextServer = nextServer_->text().toStdString();
    form.bootFile = bootFile_->text().toStdString();
    form.options.clear();
    for (int row = 0; row < table_->rowCount(); ++row) {
        form.options.push_back({cellText(table_, row, codeColumn).trimmed().toStdString(),
                                cellText(table_, row, valueColumn).toStdString()});
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
    const QSignalBlocker quiet(table_);
    for (int row = 0; row < table_->rowCount(); ++row) {
        const auto code = parseOptionCode(cellText(table_, row, codeColumn).toStdString());
        const auto known = code ? knownOption(*code) : std::nullopt;
        if (auto* name = table_->item(row, nameColumn)) {
            name->setText(known ? QString::fromUtf8(known->name.data(),
                                                    static_cast<qsizetype>(known->name.size()))
                                : QString());
        }
    }
}

} // namespace corvane
