#include "app/gui/device_panel.hpp"

#include <QFormLayout>
#include <QGuiApplication>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "app/gui/gui_style.hpp"
#include "app/gui/gui_texts.hpp"
#include "core/maker/maker_registry.hpp"

namespace corvane {
namespace {

QLabel* valueLabel(QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

} // namespace

DevicePanel::DevicePanel(QWidget* parent)
    : QFrame(parent), headline_(new QLabel(this)), address_(valueLabel(this)),
      mac_(valueLabel(this)), maker_(valueLabel(this)), hostname_(valueLabel(this)),
      vendorClass_(valueLabel(this)), leaseLeft_(valueLabel(this)), presence_(valueLabel(this)),
      openInBrowser_(new QPushButton(gui_texts::openInBrowser, this)) {
    setFrameShape(QFrame::StyledPanel);
    headline_->setFont(gui_style::emphasised(font(), 5));
    address_->setFont(gui_style::emphasised(gui_style::monospaceFont(), 6));
    mac_->setFont(gui_style::monospaceFont());

    auto* facts = new QFormLayout;
    facts->setLabelAlignment(Qt::AlignRight);
    facts->addRow(gui_texts::addressLabel, address_);
    facts->addRow(gui_texts::macLabel, mac_);
    facts->addRow(gui_texts::makerLabel, maker_);
    facts->addRow(gui_texts::hostnameLabel, hostname_);
    facts->addRow(gui_texts::vendorClassLabel, vendorClass_);
    leaseLeftName_ = new QLabel(gui_texts::leaseLeftLabel, this);
    facts->addRow(leaseLeftName_, leaseLeft_);
    facts->addRow(gui_texts::presenceLabel, presence_);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 14, 16, 14);
    layout->addWidget(headline_);
    layout->addLayout(facts);
    layout->addWidget(openInBrowser_, 0, Qt::AlignLeft);

    connect(openInBrowser_, &QPushButton::clicked, this,
            [this] { Q_EMIT openInBrowserRequested(address_->text()); });
}

void DevicePanel::setDevice(const Lease& lease, std::optional<PresenceState> presence,
                            TimePoint now, bool serving) {
    serving_ = serving;
    headline_->setText(serving ? gui_texts::deviceFound : gui_texts::lastDevice);
    // After Stop the panel is a record, not a live view: greyed, no countdown, no presence.
    QPalette greyed = QWidget::palette();
    greyed.setColor(QPalette::WindowText,
                    serving ? QGuiApplication::palette().color(QPalette::WindowText)
                            : gui_style::mutedText());
    setPalette(greyed);
    openInBrowser_->setEnabled(serving);
    address_->setText(gui_texts::toQString(lease.ip.description()));
    mac_->setText(gui_texts::toQString(lease.mac.description()));
    const auto maker = makerName(lease.mac);
    maker_->setText(maker ? QString::fromStdString(*maker) : gui_texts::notGiven);
    hostname_->setText(lease.hostname ? QString::fromStdString(*lease.hostname)
                                      : gui_texts::notGiven);
    vendorClass_->setText(lease.vendorClass ? QString::fromStdString(*lease.vendorClass)
                                            : gui_texts::notGiven);
    leaseLeft_->setText(serving ? gui_texts::leaseLeft(lease, now)
                                : gui_texts::lastSeen(lease.lastSeen));
    leaseLeftName_->setText(serving ? gui_texts::leaseLeftLabel : gui_texts::lastSeenLabel);

    const PresenceState state =
        serving ? presence.value_or(PresenceState::unknown) : PresenceState::unknown;
    presence_->setText(gui_texts::presenceWord(state));
    QPalette colour = presence_->palette();
    colour.setColor(QPalette::WindowText, gui_style::presenceColor(state));
    presence_->setPalette(colour);
}

QString DevicePanel::headlineText() const {
    return headline_->text();
}
QString DevicePanel::addressText() const {
    return address_->text();
}
QString DevicePanel::macText() const {
    return mac_->text();
}
QString DevicePanel::leaseLeftText() const {
    return leaseLeft_->text();
}
QString DevicePanel::presenceText() const {
    return presence_->text();
}

} // namespace corvane
