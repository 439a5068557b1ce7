#include "app/gui/log_view.hpp"

#include <QHBoxLayout>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include "app/gui/empty_state.hpp"
#include "app/gui/gui_style.hpp"
#include "app/gui/gui_texts.hpp"
#include "app/model/app_texts.hpp"

namespace corvane {

LogView::LogView(QWidget* parent)
    : QWidget(parent), filter_(new QLineEdit(this)),
      pause_(new QPushButton(gui_texts::pauseLog, this)),
      clear_(new QPushButton(gui_texts::clearLog, this)), list_(new QListView(this)) {
    filter_->setPlaceholderText(gui_texts::toQString(app_texts::logFilterPlaceholder));
    filter_->setClearButtonEnabled(true);
    pause_->setCheckable(true);
    clear_->setToolTip(gui_texts::toQString(app_texts::clearLogHelp));

    list_->setModel(&model_);
    list_->setFont(gui_style::monospaceFont());
    // Lines are never cut and never hide behind a sideways scroll: a long line wraps, so the
    // fields at its end (client id, xid, card) stay in sight; the tooltip repeats it whole.
    list_->setTextElideMode(Qt::ElideNone);
    list_->setWordWrap(true);
    list_->setResizeMode(QListView::Adjust);
    list_->setLayoutMode(QListView::Batched);
    list_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    list_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    list_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list_->setObjectName(QStringLiteral("logLines"));
    new EmptyState(list_, gui_texts::emptyLog);

    auto* controls = new QHBoxLayout;
    controls->addWidget(filter_, 1);
    controls->addWidget(pause_);
    controls->addWidget(clear_);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(controls);
    layout->addWidget(list_, 1);

    connect(filter_, &QLineEdit::textEdited, this, &LogView::filterEdited);
    connect(pause_, &QPushButton::toggled, this, [this](bool paused) {
        pause_->setText(paused ? gui_texts::resumeLog : gui_texts::pauseLog);
        Q_EMIT pauseToggled(paused);
    });
    connect(clear_, &QPushButton::clicked, this, &LogView::clearRequested);
}

void LogView::setLines(std::vector<LogLine> lines) {
    const QScrollBar* scroll = list_->verticalScrollBar();
    const bool following = scroll->value() >= scroll->maximum();
    model_.setLines(std::move(lines));
    if (following) {
        list_->scrollToBottom();
    }
}

void LogView::setFilter(const QString& filter) {
    if (filter_->text() != filter) {
        filter_->setText(filter);
    }
}

void LogView::setPaused(bool paused) {
    const QSignalBlocker quiet(pause_);
    pause_->setChecked(paused);
    pause_->setText(paused ? gui_texts::resumeLog : gui_texts::pauseLog);
}

} // namespace corvane
