#include "app/gui/checklist_view.hpp"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "app/gui/gui_style.hpp"
#include "app/gui/gui_texts.hpp"
#include "core/host/host_texts.hpp"

namespace corvane {

ChecklistView::ChecklistView(QWidget* parent)
    : QWidget(parent), rows_(new QVBoxLayout), empty_(new QLabel(gui_texts::noChecksYet, this)),
      footer_(new QLabel(gui_texts::toQString(host_texts::checklistFooter), this)) {
    rows_->setContentsMargins(0, 0, 0, 0);
    rows_->setSpacing(6);
    empty_->setWordWrap(true);
    footer_->setWordWrap(true);
    QPalette muted = footer_->palette();
    muted.setColor(QPalette::WindowText, gui_style::mutedText());
    footer_->setPalette(muted);
    empty_->setPalette(muted);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(8);
    layout->addWidget(empty_);
    layout->addLayout(rows_);
    layout->addWidget(footer_);
}

void ChecklistView::setChecks(const std::vector<PreflightCheck>& checks) {
    if (checks == checks_ && rows_->count() == int(checks.size())) {
        return;
    }
    checks_ = checks;
    rebuildRows();
}

void ChecklistView::setFixesEnabled(bool enabled) {
    if (enabled == fixesEnabled_) {
        return;
    }
    fixesEnabled_ = enabled;
    rebuildRows();
}

void ChecklistView::setDescribesStart(bool describesStart) {
    if (describesStart == describesStart_) {
        return;
    }
    describesStart_ = describesStart;
    footer_->setText(describesStart ? gui_texts::checksDescribeTheStart
                                    : gui_texts::toQString(host_texts::checklistFooter));
    rebuildRows();
}

QString ChecklistView::footerText() const {
    return footer_->text();
}

void ChecklistView::rebuildRows() {
    while (auto* item = rows_->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    for (const auto& check : checks_) {
        rows_->addWidget(rowFor(check));
    }
    empty_->setVisible(checks_.empty());
}

QWidget* ChecklistView::rowFor(const PreflightCheck& check) {
    auto* row = new QWidget(this);
    row->setObjectName(gui_texts::toQString(idName(check.id)));
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(8);

    const auto symbolText = statusSymbol(check.status);
    auto* symbol = new QLabel(gui_texts::toQString(symbolText), row);
    symbol->setFont(gui_style::emphasised(font(), 2));
    QPalette colour = symbol->palette();
    colour.setColor(QPalette::WindowText, gui_style::statusColor(check.status));
    symbol->setPalette(colour);
    symbol->setAlignment(Qt::AlignTop | Qt::AlignHCenter);
    symbol->setMinimumWidth(18);

    auto* message = new QLabel(QString::fromStdString(check.message), row);
    message->setWordWrap(true);
    if (describesStart_) {
        QPalette muted = message->palette();
        muted.setColor(QPalette::WindowText, gui_style::mutedText());
        message->setPalette(muted);
        colour.setColor(QPalette::WindowText, gui_style::mutedText());
        symbol->setPalette(colour);
    }
    message->setTextInteractionFlags(Qt::TextSelectableByMouse);

    layout->addWidget(symbol, 0, Qt::AlignTop);
    layout->addWidget(message, 1);

    if (check.fix) {
        const auto& fix = std::get<PreflightCheck::ConfigureAdapter>(*check.fix);
        const QString service = QString::fromStdString(fix.service);
        auto* button = new QPushButton(gui_texts::configureCardButton, row);
        button->setEnabled(fixesEnabled_);
        connect(button, &QPushButton::clicked, this,
                [this, service] { Q_EMIT configureAdapterRequested(service); });
        layout->addWidget(button, 0, Qt::AlignTop);
    }
    return row;
}

} // namespace corvane
