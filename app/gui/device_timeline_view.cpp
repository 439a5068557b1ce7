#include "app/gui/device_timeline_view.hpp"

#include <QFontDatabase>
#include <QLabel>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QVBoxLayout>

#include "app/gui/gui_style.hpp"
#include "app/gui/gui_texts.hpp"

namespace corvane {

DeviceTimelineView::DeviceTimelineView(QWidget* parent)
    : QWidget(parent), title_(new QLabel(this)), notAnswered_(new QLabel(this)),
      lines_(new QPlainTextEdit(this)) {
    setObjectName(QStringLiteral("deviceTimeline"));
    QFont bold = title_->font();
    bold.setBold(true);
    title_->setFont(bold);
    notAnswered_->setObjectName(QStringLiteral("notAnswered"));
    notAnswered_->setWordWrap(true);
    notAnswered_->setFont(bold);
    QPalette warning = notAnswered_->palette();
    warning.setColor(QPalette::WindowText, gui_style::noticeText());
    notAnswered_->setPalette(warning);
    lines_->setReadOnly(true);
    lines_->setLineWrapMode(QPlainTextEdit::NoWrap);
    lines_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    // Room for a whole exchange (DISCOVER to ACK) without scrolling.
    lines_->setFixedHeight(lines_->fontMetrics().lineSpacing() * visibleLines +
                           2 * lines_->frameWidth() + 8);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(title_);
    layout->addWidget(notAnswered_);
    layout->addWidget(lines_, 1);
    show(QString(), DeviceTimeline{});
}

void DeviceTimelineView::show(const QString& mac, const DeviceTimeline& timeline) {
    title_->setText(mac.isEmpty() ? gui_texts::timelineHint : gui_texts::timelineTitle(mac));
    lines_->setVisible(!mac.isEmpty());
    notAnswered_->setVisible(timeline.notAnswered.has_value());
    notAnswered_->setText(QString::fromStdString(timeline.notAnswered.value_or(std::string())));
    QStringList text;
    for (const auto& line : timeline.lines) {
        text << QString::fromStdString(line.text);
    }
    if (!mac.isEmpty() && text.isEmpty()) {
        text << gui_texts::timelineEmpty;
    }
    lines_->setPlainText(text.join(QLatin1Char('\n')));
    lines_->verticalScrollBar()->setValue(lines_->verticalScrollBar()->maximum());
}

} // namespace corvane
