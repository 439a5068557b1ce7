#include "app/gui/editable_rows.hpp"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QPushButton>
#include <QSignalBlocker>
#include <QTableWidget>
#include <QVBoxLayout>

#include "app/gui/gui_texts.hpp"

namespace corvane {

EditableRows::EditableRows(const QString& tableName, const std::vector<Column>& columns,
                           QWidget* parent)
    : QWidget(parent), columns_(columns),
      table_(new QTableWidget(0, static_cast<int>(columns.size()), this)) {
    table_->setObjectName(tableName);
    QStringList titles;
    for (const auto& column : columns_) {
        titles << column.title;
    }
    table_->setHorizontalHeaderLabels(titles);
    table_->horizontalHeader()->setStretchLastSection(true);
    table_->verticalHeader()->hide();
    for (int index = 0; index < static_cast<int>(columns_.size()); ++index) {
        if (const int width = columns_[static_cast<std::size_t>(index)].width; width > 0) {
            table_->setColumnWidth(index, width);
        }
    }
    auto* add = new QPushButton(gui_texts::addRow, this);
    auto* remove = new QPushButton(gui_texts::removeRow, this);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(add);
    buttons->addWidget(remove);
    buttons->addStretch();
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(table_, 1);
    layout->addLayout(buttons);

    connect(add, &QPushButton::clicked, this, [this] {
        const int row = table_->rowCount();
        {
            const QSignalBlocker quiet(table_);
            table_->insertRow(row);
            setRow(row, {});
        }
        table_->setCurrentCell(row, 0);
        table_->editItem(table_->item(row, 0));
        Q_EMIT changed();
    });
    connect(remove, &QPushButton::clicked, this, [this] {
        if (table_->currentRow() >= 0) {
            table_->removeRow(table_->currentRow());
            Q_EMIT changed();
        }
    });
    connect(table_, &QTableWidget::itemChanged, this, &EditableRows::changed);
}

void EditableRows::showRows(const std::vector<QStringList>& rows) {
    const QSignalBlocker quiet(table_);
    table_->setRowCount(static_cast<int>(rows.size()));
    for (int row = 0; row < table_->rowCount(); ++row) {
        setRow(row, rows[static_cast<std::size_t>(row)]);
    }
}

std::vector<QStringList> EditableRows::rows() const {
    std::vector<QStringList> rows;
    for (int row = 0; row < table_->rowCount(); ++row) {
        QStringList texts;
        for (int column = 0; column < table_->columnCount(); ++column) {
            const auto* item = table_->item(row, column);
            texts << (item != nullptr ? item->text() : QString());
        }
        rows.push_back(texts);
    }
    return rows;
}

void EditableRows::setDerivedText(int row, int column, const QString& text) {
    const QSignalBlocker quiet(table_);
    if (auto* item = table_->item(row, column)) {
        item->setText(text);
    }
}

void EditableRows::setRow(int row, const QStringList& texts) {
    for (int column = 0; column < static_cast<int>(columns_.size()); ++column) {
        auto* item = new QTableWidgetItem(column < texts.size() ? texts[column] : QString());
        if (!columns_[static_cast<std::size_t>(column)].editable) {
            item->setFlags(item->flags() & ~Qt::ItemIsEditable);
        }
        table_->setItem(row, column, item);
    }
}

} // namespace corvane
